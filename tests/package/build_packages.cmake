# cmake -P: builds the Debian packages from a clean configure of SOURCE_DIR in
# DEB_BUILD, has lintian check them, unpacks them into ROOT, checks the layout
# a host developer relies on, and builds the example host out of tree against
# ROOT alone (through the CMake package, and through pkg-config), and the
# example client through the CMake package.
include(${CMAKE_CURRENT_LIST_DIR}/../support/run_command.cmake)

string(TIMESTAMP start "%s")
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${DEB_BUILD} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr
  -DBUILD_TESTING=OFF -DORU_BUILD_BENCH=OFF -DORU_SANITIZE=OFF -DORU_FUZZ=OFF)
run(${CMAKE_COMMAND} --build ${DEB_BUILD} -j2)
file(GLOB old ${DEB_BUILD}/*.deb)
file(REMOVE_RECURSE ${old} ${ROOT} ${EXAMPLE_BUILD} ${EXAMPLE_BUILD}-client)
execute_process(COMMAND cpack -G DEB WORKING_DIRECTORY ${DEB_BUILD} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cpack failed:\n${out}")
endif()

foreach(package liboru-dgw-sdk1 liboru-sdk-kit1 liboru-dgw-sdk-dev oru-dgw-sdk-tools)
  file(GLOB deb ${DEB_BUILD}/${package}_*.deb)
  if(NOT deb)
    file(GLOB built RELATIVE ${DEB_BUILD} ${DEB_BUILD}/*.deb)
    message(FATAL_ERROR "no package ${package}; built: ${built}")
  endif()
endforeach()
file(GLOB debs ${DEB_BUILD}/*.deb)
run(lintian --fail-on error,warning ${debs})
message(STATUS "lintian: ${out}")

foreach(deb ${debs})
  run(dpkg-deb --contents ${deb})
  # Development links belong to the -dev package only.
  if(out MATCHES "\\.so -> " AND NOT deb MATCHES "-dev_")
    message(FATAL_ERROR "development link in ${deb}:\n${out}")
  endif()
  run(dpkg-deb --extract ${deb} ${ROOT})
endforeach()

# Our own libraries are dependencies like any other.
file(GLOB deb ${DEB_BUILD}/liboru-dgw-sdk1_*.deb)
run(dpkg-deb --field ${deb} Depends)
if(NOT out MATCHES "liboru-sdk-kit1 \\(>= ")
  message(FATAL_ERROR "liboru-dgw-sdk1 depends on: ${out}")
endif()

file(GLOB libdir LIST_DIRECTORIES true ${ROOT}/usr/lib/*-linux-gnu)
foreach(path
    ${libdir}/liboru_dgw_sdk.so.1 ${libdir}/liboru_dgw_sdk.so
    ${libdir}/liboru_sdk_kit.so.1 ${libdir}/liboru_sdk_kit.so
    ${libdir}/cmake/OruDgwSdk/OruDgwSdkConfig.cmake ${libdir}/pkgconfig/oru_dgw_sdk.pc
    ${ROOT}/usr/include/oru_sdk/dgw_signals.h ${ROOT}/usr/include/oru_sdk_kit/oru_log.h
    ${ROOT}/usr/share/oru_dgw_sdk/oru_message.proto ${ROOT}/usr/bin/oru-client)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "not packaged: ${path}")
  endif()
endforeach()
# Internal headers and the static pieces stay in the build tree.
file(GLOB_RECURSE leaked RELATIVE ${ROOT} ${ROOT}/*.a ${ROOT}/*.pb.h ${ROOT}/*/wire_convert.h)
if(leaked)
  message(FATAL_ERROR "build-only files packaged: ${leaked}")
endif()

run(${CMAKE_COMMAND} -S ${EXAMPLE_SOURCE} -B ${EXAMPLE_BUILD} -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${ROOT}/usr -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${EXAMPLE_BUILD})
# The example desktop client against the client packages of the same root.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/client -B ${EXAMPLE_BUILD}-client -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${ROOT}/usr -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${EXAMPLE_BUILD}-client)

# pkg-config users add -fPIC themselves, as with Qt5Core.pc (see README). The
# file moves to ROOT (a --define-variable would move Qt5Core.pc's prefix too).
file(READ ${libdir}/pkgconfig/oru_dgw_sdk.pc pc)
string(REGEX REPLACE "^prefix=/usr\n" "prefix=${ROOT}/usr\n" pc "${pc}")
file(WRITE ${EXAMPLE_BUILD}/pkgconfig/oru_dgw_sdk.pc "${pc}")
set(ENV{PKG_CONFIG_PATH} ${EXAMPLE_BUILD}/pkgconfig)
run(pkg-config --cflags --libs oru_dgw_sdk)
separate_arguments(flags UNIX_COMMAND "${out}")
run(${CXX} -std=c++17 -fPIC ${EXAMPLE_SOURCE}/main.cpp ${flags} -Wl,-rpath,${libdir}
  -o ${EXAMPLE_BUILD}/oru_example_host_pc)

string(TIMESTAMP end "%s")
math(EXPR seconds "${end} - ${start}")
message(STATUS "packages built, checked, unpacked into ${ROOT} and built against in ${seconds} s")
