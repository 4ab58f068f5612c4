# Run by CPack once the package's files are in place: gives them the time of the commit that is checked out.
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
execute_process(COMMAND git -C "${source}" log -1 --format=@%ct
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" -exec touch --no-dereference --date=${time} {} +
    COMMAND_ERROR_IS_FATAL ANY)
