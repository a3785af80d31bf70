# Removes the scripts that CPack adds to packages with libraries. They call ldconfig, which the
# trigger of each package does once for all packages that are installed together.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder ${package}.unpacked)
  execute_process(COMMAND dpkg-deb -R ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b ${folder} ${package}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
