# A Debian package of what `cmake --install` puts in place:
#   cmake --build build --target package
# makes orvantine_<version>_<arch>.deb with the command, the helper, its
# systemd units, the recorder's user unit, the manual page and the bash
# completion. Its dependencies come from the shared libraries the programs
# link (dpkg-shlibdeps); its maintainer scripts make the helper's group and
# enable the helper's socket where systemd runs.
if(APPLE)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvantine)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Orvantine developers <dev@orvantine.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "system activity monitor: processes, apps, strain and history")
# The synopsis comes from the summary; this is the body, one paragraph.
set(CPACK_PACKAGE_DESCRIPTION "Orvantine measures per-process CPU, memory, disk and network use, per-core\n\
CPU, memory pressure, disk and network throughput, volumes, battery, GPU,\n\
thermal state and sensors, groups processes into apps, tells which app\n\
strains the machine, keeps a history and raises alerts. A privileged\n\
helper, started by systemd on demand, reads every user's processes for\n\
members of the orvantine group.")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://orvantine.invalid/")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)  # orvantine_<version>_<arch>.deb
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser")
# Opened at run time, so shlibdeps cannot see them: ICU's common library for
# team identifiers that are not ASCII, and the zone files quiet hours are
# read in. (libsystemd, also opened at run time, the helper links.)
string(REGEX MATCH "^[0-9]+" orvantine_icu_major "${ICU_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libicu${orvantine_icu_major}, tzdata")
# The paths configured into the units are under the install prefix.
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(debian ${PROJECT_BINARY_DIR}/packaging/debian)
# Debian's documentation files: the copyright, and the changelog compressed
# as policy asks.
include(GNUInstallDirs)
add_custom_command(OUTPUT ${debian}/changelog.gz
  COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/packaging/linux/debian/changelog > ${debian}/changelog.gz
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/linux/debian/changelog)
add_custom_target(orvantine-changelog ALL DEPENDS ${debian}/changelog.gz)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/linux/debian/copyright ${debian}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvantine)
foreach(script postinst prerm postrm)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/linux/debian/${script} ${debian}/${script} @ONLY)
endforeach()
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm ${debian}/postrm)

include(CPack)
