# The Debian package, made by `cpack -G DEB` in a build folder (scripts/package makes one with
# the prefix /usr). Its run-time dependencies are those of the program's shared libraries, found
# by dpkg-shlibdeps, plus what the program loads or runs by name.
set(PELIX_PACKAGE_MAINTAINER "Pelix <hello@pelix.app>"
    CACHE STRING "The Debian package's maintainer, \"Name <address>\"")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pelix)
set(CPACK_PACKAGE_VENDOR Pelix)
set(CPACK_PACKAGE_CONTACT "${PELIX_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "speech into text that goes somewhere useful, from the tray")
set(CPACK_PACKAGE_DESCRIPTION [[Pelix is the desktop companion of a personal memory service. It lives in the
tray: tap Alt to record a braindump that is filed into your account, hold Ctrl
to dictate into the application in front. It also transcribes videos and
recordings on this machine, files new voice recordings by themselves and
imports notes. The pelix-mac: links of the web app open in it.]])
# The package installs where the program was built to look for itself.
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://pelix.app)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# English speech; the program finds the model's folder itself.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pocketsphinx-en-us")
# The desktop's link handling: desktop-file-utils' trigger registers pelix-mac: when the desktop
# entry comes or goes, and xdg-open opens the browser for signing in.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "desktop-file-utils, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
