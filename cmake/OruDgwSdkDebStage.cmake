# Run by cpack twice. Before packing (each component staged under
# CPACK_TEMPORARY_DIRECTORY): the files Debian wants in every package. After
# packing (CPACK_PACKAGE_FILES known): the ldconfig trigger in place of CPack's
# maintainer scripts, which CPack 3.25 always writes for libraries in /usr/lib.

function(oru_install_file source destination)
  get_filename_component(dir ${destination} DIRECTORY)
  file(MAKE_DIRECTORY ${dir})
  file(COPY_FILE ${source} ${destination})
  file(CHMOD ${destination} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

if(NOT DEFINED CPACK_PACKAGE_FILES)
  # What dpkg-shlibdeps needs to name our own library packages, which are not
  # installed where it looks: read from debian/, which CPack removes after it.
  set(shlibs "")
  foreach(library IN LISTS CPACK_ORU_SHLIBS)
    string(REPLACE ":" " " library ${library})
    string(APPEND shlibs "${library} (>= ${CPACK_ORU_DEB_VERSION})\n")
  endforeach()
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} C)
    set(package ${CPACK_DEBIAN_${C}_PACKAGE_NAME})
    # Only where CPack runs dpkg-shlibdeps (a package with ELF files), or debian/ stays in.
    file(GLOB_RECURSE files ${CPACK_TEMPORARY_DIRECTORY}/${component}/*)
    foreach(f IN LISTS files)
      if(NOT IS_SYMLINK ${f})
        file(READ ${f} magic LIMIT 4 HEX)
        if(magic STREQUAL "7f454c46")
          file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/${component}/debian/shlibs.local ${shlibs})
          break()
        endif()
      endif()
    endforeach()
    set(usr ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
    set(doc ${usr}/share/doc/${package})
    oru_install_file(${CPACK_ORU_COPYRIGHT} ${doc}/copyright)
    # -n: no name or time stamp in the header, so the package is reproducible.
    execute_process(COMMAND gzip -9nc ${CPACK_ORU_CHANGELOG}
      OUTPUT_FILE ${CPACK_TEMPORARY_DIRECTORY}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
    oru_install_file(${CPACK_TEMPORARY_DIRECTORY}/changelog.Debian.gz ${doc}/changelog.Debian.gz)

    # Manual pages are installed compressed, as dh_compress would leave them.
    file(GLOB_RECURSE pages ${usr}/share/man/*.[0-9])
    foreach(page IN LISTS pages)
      execute_process(COMMAND gzip -9nf ${page} COMMAND_ERROR_IS_FATAL ANY)
    endforeach()

    # The packages are shipped by the project itself, never uploaded to Debian:
    # there is no bug asking for the package for the first entry to close.
    set(overrides "# Shipped by the project, not uploaded to Debian: no ITP bug to close.\n"
      "${package}: initial-upload-closes-no-bugs\n")
    # A program without its manual page yet: said so once per program, and
    # only while the page is missing, so the override never outlives its reason.
    file(GLOB programs RELATIVE ${usr}/bin ${usr}/bin/*)
    foreach(program IN LISTS programs)
      file(GLOB page ${usr}/share/man/man1/${program}.1*)
      if(NOT page)
        string(APPEND overrides "# Until its manual page is installed the command documents itself by --help.\n"
          "${package}: no-manual-page [usr/bin/${program}]\n")
      endif()
    endforeach()
    file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/overrides ${overrides})
    oru_install_file(${CPACK_TEMPORARY_DIRECTORY}/overrides ${usr}/share/lintian/overrides/${package})
  endforeach()
  file(REMOVE ${CPACK_TEMPORARY_DIRECTORY}/changelog.Debian.gz ${CPACK_TEMPORARY_DIRECTORY}/overrides)
  return()
endif()

foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  set(tree ${deb}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${deb} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${tree}/DEBIAN/postinst)
    file(READ ${tree}/DEBIAN/postinst script)
    if(script MATCHES "ldconfig")
      # dpkg runs ldconfig once at the end of the run for every package that
      # activates the trigger.
      file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
      file(WRITE ${tree}/DEBIAN/triggers "activate-noawait ldconfig\n")
      file(CHMOD ${tree}/DEBIAN/triggers PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
      execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip --build ${tree} ${deb}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endif()
  endif()
  file(REMOVE_RECURSE ${tree})
endforeach()
