# The Windows package: exactly the files that an installation folder needs beside the application's own.
#   cpack --config build/windows/CPackConfig.cmake

set(runtime_libraries
    Qt5Core Qt5Gui Qt5Network Qt5Widgets
    libquazip1-qt5 zlib1
    libgcc_s_seh-1 libstdc++-6 libwinpthread-1)
list(TRANSFORM runtime_libraries REPLACE "(.+)" "${FRESHEN_WINDOWS_SDK}/bin/\\1.dll")

install(TARGETS Freshen RUNTIME DESTINATION .)
install(FILES ${runtime_libraries} DESTINATION .)
foreach(plugin platforms/qwindows imageformats/qico styles/qwindowsvistastyle)
    get_filename_component(folder ${plugin} DIRECTORY)
    install(FILES "${FRESHEN_WINDOWS_SDK}/plugins/${plugin}.dll" DESTINATION ${folder})
endforeach()
install(DIRECTORY "${FRESHEN_WINDOWS_SDK}/licenses/" DESTINATION licenses)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME "Tavlopro-Updater")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_FILE_NAME "Tavlopro-Updater-${PROJECT_VERSION}-win64")
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
set(CPACK_STRIP_FILES ON)
# The files carry the time of the commit, so that the same commit always gives the same package.
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/PackageTimes.cmake")
include(CPack)
