# Install layout for host developers: the CMake package (OruDgwSdk::oru_dgw_sdk,
# OruDgwSdk::oru_sdk_kit), a pkg-config file, the tools, and a Debian package of
# all of it through CPack. Included last from the top level, so that every
# target, the tools' too, is known here.
#
#   cmake -S . -B build-deb -DCMAKE_INSTALL_PREFIX=/usr -DBUILD_TESTING=OFF -DORU_BUILD_BENCH=OFF
#   cmake --build build-deb -j2 && (cd build-deb && cpack)      -> oru-dgw-sdk_<version>_<arch>.deb
#   cmake --install build --prefix <dir> [--component sdk]      -> SDK only, without the tools
include(CMakePackageConfigHelpers)

set(ORU_QT_MIN_VERSION 5.15)
set(ORU_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OruDgwSdk)
set(ORU_PACKAGE_STAGE ${PROJECT_BINARY_DIR}/package)

# --- CMake package -----------------------------------------------------------

install(EXPORT OruDgwSdkTargets
  NAMESPACE OruDgwSdk::
  DESTINATION ${ORU_CMAKE_PACKAGE_DIR}
  COMPONENT sdk)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/OruDgwSdkConfig.cmake.in
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfig.cmake
  INSTALL_DESTINATION ${ORU_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${ORU_PACKAGE_STAGE}/OruDgwSdkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfig.cmake
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfigVersion.cmake
  DESTINATION ${ORU_CMAKE_PACKAGE_DIR}
  COMPONENT sdk)

# --- pkg-config --------------------------------------------------------------

# Written at install time, so the paths are those of the prefix actually used
# (cmake --install --prefix, or CPack's staging under /usr), not the configured one.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(ORU_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(ORU_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
set(ORU_PC_PREFIX "@ORU_PC_INSTALL_PREFIX@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/oru_dgw_sdk.pc.in ${ORU_PACKAGE_STAGE}/oru_dgw_sdk.pc.in @ONLY)
install(CODE "
  set(ORU_PC_INSTALL_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(pc \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/oru_dgw_sdk.pc\")
  if(IS_ABSOLUTE \"${CMAKE_INSTALL_LIBDIR}\")
    set(pc \"\$ENV{DESTDIR}${CMAKE_INSTALL_LIBDIR}/pkgconfig/oru_dgw_sdk.pc\")
  endif()
  message(STATUS \"Installing: \${pc}\")
  configure_file(\"${ORU_PACKAGE_STAGE}/oru_dgw_sdk.pc.in\" \"\${pc}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${pc}\")
" COMPONENT sdk)

# --- Tools -------------------------------------------------------------------

foreach(tool oru-client oru-dgw-sim)
  if(TARGET ${tool})
    # Found next to the SDK libraries wherever the tree is installed.
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()

# --- Debian package ----------------------------------------------------------

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oru-dgw-sdk)
set(CPACK_PACKAGE_VENDOR "oru_dgw_sdk developers")
set(CPACK_PACKAGE_CONTACT "oru_dgw_sdk developers <oru-dgw-sdk@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Gateway-side SDK linking a device gateway to its main client")
set(CPACK_PACKAGE_DESCRIPTION
  "Shared libraries oru_dgw_sdk and oru_sdk_kit with their headers, CMake package and\n"
  "pkg-config file, the wire schema oru_message.proto, and the command-line tools\n"
  "oru-client (a main client) and oru-dgw-sim (a simulated gateway).")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Debug info stays in the build tree; the package ships stripped binaries.
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# Headers and the CMake package need Qt's development files to be used.
# The Python client imports python3-protobuf.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qtbase5-dev, python3-protobuf")
# A shlibs file and the ldconfig trigger for our two libraries.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
find_program(ORU_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(ORU_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt5core5a (>= 5.15), libqt5network5 (>= 5.15), libprotobuf-lite32")
endif()
include(CPack)
