# cmake -P: installs the SDK of BUILD_DIR into PREFIX, checks the layout a host
# developer relies on, then configures and builds the example host out of tree
# against PREFIX only.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${PREFIX} ${EXAMPLE_BUILD})
set(config_args)
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()
foreach(component sdk-runtime kit-runtime dev)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} --component ${component} ${config_args})
endforeach()

foreach(path
    ${LIBDIR}/liboru_dgw_sdk.so.1 ${LIBDIR}/liboru_dgw_sdk.so
    ${LIBDIR}/liboru_sdk_kit.so.1 ${LIBDIR}/liboru_sdk_kit.so
    ${INCLUDEDIR}/oru_sdk/dgw_signals.h ${INCLUDEDIR}/oru_sdk/types.h ${INCLUDEDIR}/oru_sdk/oru_sdk_export.h
    ${INCLUDEDIR}/oru_sdk_kit/oru_log.h
    ${DATADIR}/oru_dgw_sdk/oru_message.proto
    ${LIBDIR}/cmake/OruDgwSdk/OruDgwSdkConfig.cmake ${LIBDIR}/cmake/OruDgwSdk/OruDgwSdkConfigVersion.cmake
    ${LIBDIR}/pkgconfig/oru_dgw_sdk.pc)
  if(NOT EXISTS ${PREFIX}/${path})
    message(FATAL_ERROR "not installed: ${path}")
  endif()
endforeach()
# Internal headers and the static pieces stay in the build tree.
file(GLOB_RECURSE leaked RELATIVE ${PREFIX} ${PREFIX}/*.a ${PREFIX}/*.pb.h ${PREFIX}/*/wire_convert.h)
if(leaked)
  message(FATAL_ERROR "build-only files installed: ${leaked}")
endif()
file(READ ${PREFIX}/${LIBDIR}/cmake/OruDgwSdk/OruDgwSdkTargets.cmake targets)
foreach(needle oru_sdk_wire oru_protocol protobuf ${BUILD_DIR} ${SOURCE_DIR})
  string(FIND "${targets}" "${needle}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "the exported targets reference something not installed: ${needle}")
  endif()
endforeach()

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
  run(${PKG_CONFIG} --cflags --libs oru_dgw_sdk)
  if(NOT out MATCHES "-I${PREFIX}/${INCLUDEDIR}" OR NOT out MATCHES "-loru_dgw_sdk")
    message(FATAL_ERROR "pkg-config gives: ${out}")
  endif()
endif()

run(${CMAKE_COMMAND} -S ${EXAMPLE_SOURCE} -B ${EXAMPLE_BUILD} -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  -DCMAKE_BUILD_TYPE=${CONFIG})
run(${CMAKE_COMMAND} --build ${EXAMPLE_BUILD} ${config_args})
message(STATUS "example host built against ${PREFIX}")
