# The Debian package (scripts/package.sh): what `cmake --install` lays out under /usr. Only the
# console, the simulator, their data, help, desktop entry, metadata, icon, manual pages and the
# files of cmake/install.cmake have install rules; tests and benchmarks have none and stay out.
set(CPACK_PACKAGE_NAME k7310console)
set(CPACK_PACKAGE_VENDOR "K7310 console developers")
# The address's domain is a placeholder (as in debian/ and the AppStream id) until the project
# has one of its own.
set(CPACK_PACKAGE_CONTACT "K7310 console developers <k7310console@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Configuration and test console for K7310 annunciator panels")
# One line of the control file each (at most 80 columns); an empty line separates paragraphs.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "\
Finds a K7310 alarm annunciator panel on a Modbus-RTU serial line, reads,
edits and writes its configuration, drives its LEDs and horn for testing,
builds request frames by hand and computes CRCs. In English, French and German.

Includes k7310sim, a simulated panel (or a line of panels) on a
pseudo-terminal, to use the console without hardware.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
# Libraries linked: found by dpkg-shlibdeps. Loaded by Qt at run time and invisible to it: the
# SQLite driver that Qt Help reads its collections with, and the SVG image format and icon
# plugins of the toolbar, splash and window icon.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, libqt6svg6")
include(CPack)
