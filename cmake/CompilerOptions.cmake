# Freshen::options: the one target that carries the language standard and every compiler and linker flag. Each target of
# the project links it.
add_library(freshen_options INTERFACE)
add_library(Freshen::options ALIAS freshen_options)

target_compile_features(freshen_options INTERFACE cxx_std_17)
target_compile_definitions(freshen_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_STRICT_ITERATORS
    # Nothing that Qt 5.15 calls deprecated.
    QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
target_compile_options(freshen_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${FRESHEN_WERROR}>:-Werror>
    -fstack-protector-strong
    # No path of the machine that builds in the program, so that the same sources give the same bytes anywhere.
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
    "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")

if(FRESHEN_FUZZ STREQUAL "coverage")
    target_compile_options(freshen_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(freshen_options INTERFACE -fprofile-instr-generate)
elseif(FRESHEN_FUZZ STREQUAL "libFuzzer")
    # Only the targets have libFuzzer's main.
    target_compile_options(freshen_options INTERFACE -fsanitize=fuzzer-no-link)
elseif(NOT FRESHEN_FUZZ STREQUAL "")
    message(FATAL_ERROR "FRESHEN_FUZZ is \"${FRESHEN_FUZZ}\"; it can be empty, libFuzzer or coverage.")
endif()

if(FRESHEN_SANITIZE)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_compile_options(freshen_options INTERFACE ${sanitizers})
    target_link_options(freshen_options INTERFACE ${sanitizers})
    # The leak check cannot name what a library has left that is unloaded by then; so libraries stay.
    add_library(freshen_keep_libraries OBJECT "${PROJECT_SOURCE_DIR}/tests/kit/qt/keeplibraries.cpp")
    target_sources(freshen_options INTERFACE
        "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:freshen_keep_libraries>>")
elseif(NOT FRESHEN_FUZZ)
    target_compile_definitions(freshen_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
endif()

if(WIN32)
    # The stack protector's functions; static, so that no further DLL is needed. The other counterparts of the flags
    # below stand in the toolchain file, since they hold for the libraries as well.
    target_link_libraries(freshen_options INTERFACE -l:libssp.a)
else()
    target_link_options(freshen_options INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,-z,relro,-z,now)
endif()
