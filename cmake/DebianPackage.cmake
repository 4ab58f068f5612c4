# The Debian package of the publishing tool, for this machine's Debian:
#   cpack --config build/native/CPackConfig.cmake

include(GNUInstallDirs)

install(TARGETS freshen-publish RUNTIME)
install(FILES docs/publishing.md docs/nginx.conf docs/security.md
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/freshen-publish")
install(FILES resources/freshen-publish.bash RENAME freshen-publish
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
set(page "${PROJECT_BINARY_DIR}/freshen-publish.1.gz")
# Without name and time, so that the same page gives the same bytes.
add_custom_command(OUTPUT "${page}"
    COMMAND gzip -9 --no-name --stdout "${PROJECT_SOURCE_DIR}/docs/freshen-publish.1" > "${page}"
    DEPENDS docs/freshen-publish.1 VERBATIM)
add_custom_target(man-page ALL DEPENDS "${page}")
install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME freshen-publish)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "check, make and publish updates of Tavlopro")
set(CPACK_PACKAGE_DESCRIPTION
    "Makes and checks the index and the packages that the updater of Tavlopro reads,\nand copies them to the server.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Q.U.I.N.T.A. <publishing@quinta.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
