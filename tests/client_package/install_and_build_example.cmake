# cmake -P: installs the client side of BUILD_DIR (with the SDK headers it
# includes) into PREFIX, checks its layout, then builds the example client out
# of tree against PREFIX only.
include(${CMAKE_CURRENT_LIST_DIR}/../support/run_command.cmake)

file(REMOVE_RECURSE ${PREFIX} ${EXAMPLE_BUILD})
set(config_args)
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()
foreach(component sdk-runtime kit-runtime dev client-runtime client-dev python)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} --component ${component} ${config_args})
endforeach()

foreach(path
    ${LIBDIR}/liboru_client.so.1 ${LIBDIR}/liboru_client.so
    ${INCLUDEDIR}/oru_client/client.h ${INCLUDEDIR}/oru_client/stream_client.h ${INCLUDEDIR}/oru_client/reply.h
    ${INCLUDEDIR}/oru_client/connection.h ${INCLUDEDIR}/oru_client/message_type.h
    ${INCLUDEDIR}/oru_client/oru_client_export.h
    ${LIBDIR}/cmake/OruDgwSdk/OruDgwSdkClientTargets.cmake ${LIBDIR}/pkgconfig/oru_client.pc
    lib/python3/dist-packages/oru_client/__init__.py lib/python3/dist-packages/oru_client/oru_message_pb2.py)
  if(NOT EXISTS ${PREFIX}/${path})
    message(FATAL_ERROR "not installed: ${path}")
  endif()
endforeach()
file(READ ${PREFIX}/${LIBDIR}/cmake/OruDgwSdk/OruDgwSdkClientTargets.cmake targets)
foreach(needle oru_sdk_wire oru_protocol protobuf ${BUILD_DIR})
  string(FIND "${targets}" "${needle}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "the exported client target references something not installed: ${needle}")
  endif()
endforeach()

# Only the public API leaves the library.
find_program(NM nm)
if(NM)
  run(${NM} -DC --defined-only ${PREFIX}/${LIBDIR}/liboru_client.so.1)
  string(REGEX MATCHALL "[^\n]+" symbols "${out}")
  list(FILTER symbols EXCLUDE REGEX "oru_client::")
  if(CXX_FLAGS MATCHES "sanitize")
    # What the sanitizers add: ASan's ODR markers, type information for UBSan's vptr check.
    list(FILTER symbols EXCLUDE REGEX " __odr_asan\\.| typeinfo ")
  endif()
  if(symbols)
    message(FATAL_ERROR "liboru_client exports more than its API: ${symbols}")
  endif()
endif()

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
  run(${PKG_CONFIG} --cflags --libs oru_client)
  if(NOT out MATCHES "-loru_client" OR NOT out MATCHES "-I[^ ]*/include")
    message(FATAL_ERROR "pkg-config gives: ${out}")
  endif()
endif()

run(${CMAKE_COMMAND} -S ${EXAMPLE_SOURCE} -B ${EXAMPLE_BUILD} -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  -DCMAKE_BUILD_TYPE=${CONFIG})
run(${CMAKE_COMMAND} --build ${EXAMPLE_BUILD} ${config_args})
message(STATUS "example client built against ${PREFIX}")
