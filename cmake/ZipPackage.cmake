# Run by CPack once the package's files are in place: writes them into a ZIP package. The files carry the time of the
# commit that is checked out (or SOURCE_DATE_EPOCH), so that the same sources always give the same package.
set(time "$ENV{SOURCE_DATE_EPOCH}")
if(time STREQUAL "")
    cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH source)
    execute_process(COMMAND git -C "${source}" log -1 --format=%ct
        OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()

set(package "${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}.zip")
execute_process(
    COMMAND /usr/bin/python3 "${CMAKE_CURRENT_LIST_DIR}/zip-package.py"
        "${CPACK_TEMPORARY_DIRECTORY}" "${package}" "${time}"
    COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_EXTERNAL_BUILT_PACKAGES "${package}")
