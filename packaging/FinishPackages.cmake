# Changes the control files of packages where CPack cannot.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder ${package}.unpacked)
  execute_process(COMMAND dpkg-deb -R ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  # CPack adds scripts that call ldconfig to packages with libraries. The trigger of each package
  # does it once for all packages that are installed together.
  file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
  # Libraries and headers of several architectures can be installed together, and other packages may
  # use the program of any.
  file(READ ${folder}/DEBIAN/control fields)
  if(package MATCHES "/(lib|vixprores-images_|gstreamer1.0-)[^/]*$")
    file(WRITE ${folder}/DEBIAN/control "Multi-Arch: same\n${fields}")
  elseif(package MATCHES "/vixprores_[^/]*$")
    file(WRITE ${folder}/DEBIAN/control "Multi-Arch: foreign\n${fields}")
  endif()
  # For debug symbols, CPack writes the names of the build's folders.
  file(READ ${folder}/DEBIAN/md5sums sums)
  string(REGEX REPLACE "  [^\n]*/(usr/lib/debug/)" "  \\1" sums "${sums}")
  file(WRITE ${folder}/DEBIAN/md5sums "${sums}")
  # Sets the times of files to SOURCE_DATE_EPOCH, too.
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b ${folder} ${package}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
