# What CPack makes of the collector: a package for Debian, with the debug symbols in another one.
# SOURCE_DATE_EPOCH gives the time of all that is in them.

set(packaging "${PROJECT_SOURCE_DIR}/packaging/collector")
set(generated "${CMAKE_CURRENT_BINARY_DIR}/package")
set(documentation usr/share/doc/pelto-collector)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pelto-collector)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Whoever ships a package puts an address of their own here.
set(CPACK_PACKAGE_CONTACT "The PELTOSender authors <pelto-collector@maintainers.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "receives usage reports and shows what users do")
set(CPACK_PACKAGE_DESCRIPTION
  "The server to which PELTOSender, the usage-feedback companion of desktop
applications, delivers its reports. It keeps them in one folder, without a
database to set up, and shows figures on its pages and on the command line.")

# The folders are those of an installed package, so the prefix is the root.
set(CPACK_PACKAGING_INSTALL_PREFIX /)
# Those of a folder made here would depend on the umask.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  "${packaging}/postinst" "${packaging}/prerm" "${packaging}/postrm" "${generated}/conffiles")

set(configuration etc/pelto-collector/pelto-collector.toml)
file(WRITE "${generated}/conffiles" "/${configuration}\n")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file("${packaging}/changelog.in" "${generated}/changelog" @ONLY)
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" license)
file(READ "${PROJECT_SOURCE_DIR}/THIRD_PARTY_NOTICES.md" notices)
configure_file("${packaging}/copyright.in" "${generated}/copyright" @ONLY)

# compress(FILE): makes FILE.gz of it, in the folder of what is generated.
function(compress file)
  get_filename_component(name "${file}" NAME)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  execute_process(COMMAND gzip -9 --no-name --stdout "${file}"
    OUTPUT_FILE "${generated}/${name}.gz" COMMAND_ERROR_IS_FATAL ANY)
endfunction()
compress("${generated}/changelog")
compress("${packaging}/pelto-collector.1")

install(TARGETS pelto-collector RUNTIME DESTINATION usr/bin)
install(FILES "${packaging}/pelto-collector.toml" DESTINATION etc/pelto-collector)
install(FILES "${packaging}/pelto-collector.service" DESTINATION lib/systemd/system)
install(FILES "${generated}/pelto-collector.1.gz" DESTINATION usr/share/man/man1)
install(FILES "${packaging}/lintian-overrides" DESTINATION usr/share/lintian/overrides
  RENAME pelto-collector)
install(FILES "${generated}/changelog.gz" "${generated}/copyright"
  "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/LICENSE"
  "${PROJECT_SOURCE_DIR}/THIRD_PARTY_NOTICES.md"
  DESTINATION ${documentation})
# As they are in the repository, so that the links in them lead somewhere.
install(FILES
  "${PROJECT_SOURCE_DIR}/docs/collector.md" "${PROJECT_SOURCE_DIR}/docs/compatibility.md"
  "${PROJECT_SOURCE_DIR}/docs/data.md"
  "${PROJECT_SOURCE_DIR}/docs/security.md" "${PROJECT_SOURCE_DIR}/docs/server.md"
  DESTINATION ${documentation}/docs)
install(FILES "${PROJECT_SOURCE_DIR}/samples/collector/nginx.conf"
  DESTINATION ${documentation}/samples/collector)

include(CPack)
