# Changes the control files of packages where CPack cannot.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "\\.deb$")
    continue()
  endif()
  set(folder ${package}.unpacked)
  execute_process(COMMAND dpkg-deb -R ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  # CPack adds scripts that call ldconfig to packages with libraries. The trigger of each package
  # does it once for all packages that are installed together.
  file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
  # Libraries and headers of several architectures can be installed together, and other packages may
  # use the program of any.
  if(package MATCHES "/lib[^/]*$")
    set(multi_arch same)
  else()
    set(multi_arch foreign)
  endif()
  file(READ ${folder}/DEBIAN/control fields)
  file(WRITE ${folder}/DEBIAN/control "Multi-Arch: ${multi_arch}\n${fields}")
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b ${folder} ${package}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
