# The Windows packages. That of the updater holds exactly the files that an installation folder needs beside the
# application's own; the publishing tool has one of its own.
#   cpack --config build/windows/CPackConfig.cmake
#   cpack --config build/windows/CPackPublishConfig.cmake

set(publish_libraries Qt5Core Qt5Network libquazip1-qt5 zlib1 libgcc_s_seh-1 libstdc++-6 libwinpthread-1)
set(updater_libraries ${publish_libraries} Qt5Gui Qt5Widgets)

foreach(component updater publish)
    set(libraries ${${component}_libraries})
    list(TRANSFORM libraries REPLACE "(.+)" "${FRESHEN_WINDOWS_SDK}/bin/\\1.dll")
    install(FILES ${libraries} DESTINATION . COMPONENT ${component})
    install(DIRECTORY "${FRESHEN_WINDOWS_SDK}/licenses/" DESTINATION licenses COMPONENT ${component})
endforeach()
install(TARGETS Freshen RUNTIME DESTINATION . COMPONENT updater)
install(TARGETS freshen-publish RUNTIME DESTINATION . COMPONENT publish)
install(FILES docs/publishing.md docs/nginx.conf docs/security.md DESTINATION . COMPONENT publish)
foreach(plugin platforms/qwindows imageformats/qico styles/qwindowsvistastyle)
    get_filename_component(folder ${plugin} DIRECTORY)
    install(FILES "${FRESHEN_WINDOWS_SDK}/plugins/${plugin}.dll" DESTINATION ${folder} COMPONENT updater)
endforeach()

# CPack lays the files out; its own ZIP generator would note the times of this build and of this machine in the package.
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/ZipPackage.cmake")
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};updater;/")
set(CPACK_PACKAGE_NAME "Tavlopro-Updater")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_FILE_NAME "Tavlopro-Updater-${PROJECT_VERSION}-win64")
include(CPack)

file(WRITE "${PROJECT_BINARY_DIR}/CPackPublishConfig.cmake" "
include(\"${PROJECT_BINARY_DIR}/CPackConfig.cmake\")
set(CPACK_INSTALL_CMAKE_PROJECTS \"${PROJECT_BINARY_DIR};${PROJECT_NAME};publish;/\")
set(CPACK_PACKAGE_NAME freshen-publish)
set(CPACK_PACKAGE_FILE_NAME \"freshen-publish-${PROJECT_VERSION}-win64\")
")
