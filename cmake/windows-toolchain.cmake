# Toolchain for the Windows program: 64-bit MinGW-w64 with POSIX threads, and the SDK made by scripts/windows-sdk.
#
# The SDK's folder is taken from the cache variable FRESHEN_WINDOWS_SDK, else from the environment variable of that
# name, else it is where scripts/windows-sdk puts it. moc, rcc and uic for this machine are part of the SDK and found
# through its CMake packages. lrelease and lupdate are this machine's: find_program(... HINTS /usr/lib/qt5/bin) finds
# them, while find_package(Qt5LinguistTools) would look inside the SDK.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

if(NOT FRESHEN_WINDOWS_SDK)
    set(sdk "$ENV{FRESHEN_WINDOWS_SDK}")
    if(NOT sdk)
        execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../scripts/windows-sdk" --where
            OUTPUT_VARIABLE sdk OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    endif()
    set(FRESHEN_WINDOWS_SDK "${sdk}" CACHE PATH "Folder of the Windows SDK made by scripts/windows-sdk")
endif()
if(NOT EXISTS "${FRESHEN_WINDOWS_SDK}/lib/cmake/Qt5")
    message(FATAL_ERROR "There is no Windows SDK in \"${FRESHEN_WINDOWS_SDK}\". Run scripts/windows-sdk first.")
endif()
# Compiler checks run in projects of their own, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FRESHEN_WINDOWS_SDK)

# The compilers are named in full, so that it does not matter which threading variant the system's alternatives choose.
set(tool x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${tool}-gcc-posix)
set(CMAKE_CXX_COMPILER ${tool}-g++-posix)
set(CMAKE_RC_COMPILER ${tool}-windres)

# Address space randomisation over the whole 64-bit range, no execution of data, and no build time in the file.
set(hardening "-Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va -Wl,--no-insert-timestamp")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${hardening}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${hardening}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${hardening}")
# No symbols, from the start: stripping them later would note the time in the file.
set(CMAKE_EXE_LINKER_FLAGS_RELEASE_INIT -s)

# Libraries, headers and packages are Windows' only; programs are this machine's only.
set(CMAKE_FIND_ROOT_PATH "${FRESHEN_WINDOWS_SDK}" /usr/${tool})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs run under Wine, each in a Windows of its own.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tests/kit/run-program"
    "${CMAKE_BINARY_DIR}/wine" "${FRESHEN_WINDOWS_SDK}")
