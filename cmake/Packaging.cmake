# `make package`: one Debian package of everything `make install` puts in place, under /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillmere)
set(CPACK_PACKAGE_VENDOR "The Quillmere developers")
set(CPACK_PACKAGE_CONTACT "The Quillmere developers <maintainers@quillmere.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "time-blocking day planner that lives in the tray")
# CPack puts the summary in front of this as the synopsis line.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Quillmere lays out today as a column of deep and shallow work blocks on a
24-hour timeline in a small panel that opens from the tray icon. Blocks repeat
weekly, a backlog waits for the next free quarter hour, and finished blocks are
recorded in a statistics database. During deep work it can play brown noise,
chime, and nudge you back when a notification pops up.")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Depends is worked out from the shared libraries the program links, plus SDL, which it loads
# only when it first plays a sound.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libsdl2-2.0-0")
set(CPACK_STRIP_FILES ON)
include(CPack)
