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

# CPack lays the files out; its own ZIP generator would note the times of this build and of this machine in the package.
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/ZipPackage.cmake")
set(CPACK_PACKAGE_NAME "Tavlopro-Updater")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_FILE_NAME "Tavlopro-Updater-${PROJECT_VERSION}-win64")
include(CPack)
