# Install layout for host developers: the CMake package (OruDgwSdk::oru_dgw_sdk,
# OruDgwSdk::oru_sdk_kit), a pkg-config file, and Debian packages split the way
# Debian splits libraries, one per install component, through CPack. Included
# last from the top level, so that every target and install rule is known here.
#
#   cmake -S . -B build-deb -DCMAKE_INSTALL_PREFIX=/usr -DBUILD_TESTING=OFF -DORU_BUILD_BENCH=OFF
#   cmake --build build-deb -j2 && (cd build-deb && cpack)      -> one .deb per component
#   cmake --install build --prefix <dir> --component dev         -> one component only
#
# Components: sdk-runtime, kit-runtime (the versioned libraries), dev (headers,
# .so links, CMake package, pkg-config, schema), tools, and client-runtime,
# client-dev, python where their install rules exist.
include(CMakePackageConfigHelpers)

set(ORU_QT_MIN_VERSION 5.15)
set(ORU_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OruDgwSdk)
set(ORU_PACKAGE_STAGE ${PROJECT_BINARY_DIR}/package)

# --- CMake package -----------------------------------------------------------

install(EXPORT OruDgwSdkTargets
  NAMESPACE OruDgwSdk::
  DESTINATION ${ORU_CMAKE_PACKAGE_DIR}
  COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/OruDgwSdkConfig.cmake.in
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfig.cmake
  INSTALL_DESTINATION ${ORU_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${ORU_PACKAGE_STAGE}/OruDgwSdkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfig.cmake
  ${ORU_PACKAGE_STAGE}/OruDgwSdkConfigVersion.cmake
  DESTINATION ${ORU_CMAKE_PACKAGE_DIR}
  COMPONENT dev)

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
" COMPONENT dev)

# --- Debian packages ---------------------------------------------------------

# The stage script needs cpack's pre- and post-build scripts and file(COPY_FILE).
if(CMAKE_VERSION VERSION_LESS 3.21)
  message(STATUS "Debian packages need CMake 3.21; cpack is not set up")
  return()
endif()

# Debian names a library package after its soname: liboru_dgw_sdk.so.1 is
# liboru-dgw-sdk1 (a name ending in a digit gets a hyphen before the version).
function(oru_deb_library_package out target fallback)
  set(name ${fallback})
  if(TARGET ${target})
    get_target_property(type ${target} TYPE)
    get_target_property(soversion ${target} SOVERSION)
    get_target_property(output ${target} OUTPUT_NAME)
    if(NOT output)
      set(output ${target})
    endif()
    if(type STREQUAL "SHARED_LIBRARY" AND soversion)
      string(REPLACE "_" "-" name "lib${output}")
      if(name MATCHES "[0-9]$")
        string(APPEND name "-")
      endif()
      string(APPEND name "${soversion}")
      set(CPACK_ORU_SHLIBS ${CPACK_ORU_SHLIBS} "lib${output}:${soversion}:${name}" PARENT_SCOPE)
    endif()
  endif()
  set(${out} ${name} PARENT_SCOPE)
endfunction()

set(ORU_PACKAGE_MAINTAINER "oru_dgw_sdk maintainers <maintainers@oru-dgw-sdk.example>"
  CACHE STRING "Maintainer of the Debian packages: name <address>")
set(ORU_DEB_RELEASE 1)
set(ORU_DEB_VERSION ${PROJECT_VERSION}-${ORU_DEB_RELEASE})
set(CPACK_ORU_DEB_VERSION ${ORU_DEB_VERSION})
set(CPACK_ORU_SHLIBS "")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME oru-dgw-sdk)
set(CPACK_PACKAGE_VENDOR "oru_dgw_sdk developers")
set(CPACK_PACKAGE_CONTACT "${ORU_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE oru-dgw-sdk)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ORU_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Debug info stays in the build tree; the packages ship stripped binaries.
set(CPACK_STRIP_FILES ON)
# A shlibs file in each library package, so that programs built against it depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
find_program(ORU_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(ORU_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Our own libraries are found in the build tree, their packages through the
  # shlibs.local the stage script writes (CPACK_ORU_SHLIBS).
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR}/oru_sdk ${PROJECT_BINARY_DIR}/oru_sdk_kit ${PROJECT_BINARY_DIR}/oru_client)
endif()

oru_deb_library_package(ORU_DEB_SDK oru_dgw_sdk liboru-dgw-sdk1)
oru_deb_library_package(ORU_DEB_KIT oru_sdk_kit liboru-sdk-kit1)
oru_deb_library_package(ORU_DEB_CLIENT oru_client liboru-client1)
set(ORU_DEB_DEV liboru-dgw-sdk-dev)

# oru_deb_component(<component> <package> <section> <synopsis> <description>
#                   [DEPENDS ...] [ARCH all]): one package per component.
function(oru_deb_component component package section synopsis description)
  cmake_parse_arguments(D "" "ARCH" "DEPENDS" ${ARGN})
  string(TOUPPER ${component} C)
  set(CPACK_DEBIAN_${C}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${C}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${C}_DESCRIPTION "${synopsis}\n${description}" PARENT_SCOPE)
  list(JOIN D_DEPENDS ", " depends)
  set(CPACK_DEBIAN_${C}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  if(D_ARCH)
    set(CPACK_DEBIAN_${C}_PACKAGE_ARCHITECTURE ${D_ARCH} PARENT_SCOPE)
  endif()
endfunction()

set(ORU_DEB_SAME "(= ${ORU_DEB_VERSION})")
oru_deb_component(sdk-runtime ${ORU_DEB_SDK} libs
  "gateway-side SDK linking a device gateway to its main client"
  "The shared library a device gateway loads to talk to the operator's main\nclient over two named local sockets: requests arrive as Qt signals, answers\nand events leave as framed protobuf messages.")
oru_deb_component(kit-runtime ${ORU_DEB_KIT} libs
  "logging library of the oru_dgw_sdk gateway SDK"
  "An asynchronous, rotating log writer with four entry points, used by the\ngateway SDK and available to the gateway itself.")
oru_deb_component(dev ${ORU_DEB_DEV} libdevel
  "gateway-side SDK linking a device gateway to its main client - development"
  "Headers, CMake package (OruDgwSdk), pkg-config file and the wire schema\noru_message.proto, for building a device gateway on the SDK."
  DEPENDS "${ORU_DEB_SDK} ${ORU_DEB_SAME}" "${ORU_DEB_KIT} ${ORU_DEB_SAME}" qtbase5-dev)
oru_deb_component(tools oru-dgw-sdk-tools utils
  "command-line main client and simulated gateway for the oru_dgw_sdk"
  "oru-client sends any main-client request to a gateway from the command\nline; oru-dgw-sim is a gateway with imaginary devices built on the SDK.")
oru_deb_component(client-runtime ${ORU_DEB_CLIENT} libs
  "main-client library for gateways built on the oru_dgw_sdk"
  "The main client's side of the control and stream channels: one call per\nrequest kind, pushes as Qt signals, live video and playback streams.")
oru_deb_component(client-dev liboru-client-dev libdevel
  "main-client library for gateways built on the oru_dgw_sdk - development"
  "Headers and link files of the main-client library."
  DEPENDS "${ORU_DEB_CLIENT} ${ORU_DEB_SAME}" "${ORU_DEB_DEV} ${ORU_DEB_SAME}" qtbase5-dev)
oru_deb_component(python python3-oru-client python
  "Python main client for gateways built on the oru_dgw_sdk"
  "The main client's requests from Python, over the gateway's named local\nsockets."
  DEPENDS python3 python3-protobuf ARCH all)

# Copyright, changelog and the lintian overrides go into each package's staging
# tree just before it is packed; the ldconfig trigger replaces CPack's
# maintainer scripts once it is packed (both in the script).
file(READ ${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ORU_DEB_CHANGELOG)
string(CONFIGURE "${ORU_DEB_CHANGELOG}" ORU_DEB_CHANGELOG @ONLY)
file(WRITE ${ORU_PACKAGE_STAGE}/changelog.Debian "${ORU_DEB_CHANGELOG}")
set(CPACK_ORU_CHANGELOG ${ORU_PACKAGE_STAGE}/changelog.Debian)
set(CPACK_ORU_COPYRIGHT ${CMAKE_CURRENT_LIST_DIR}/debian/copyright)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/OruDgwSdkDebStage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/OruDgwSdkDebStage.cmake)
include(CPack)
