# The target "tidy": clang-tidy looks at what this preset compiles, but for fuzz targets and benchmarks. A source is
# looked at again once it has been compiled anew, or once clang-tidy's configuration has changed.
find_program(CLANG_TIDY clang-tidy)
if(NOT CLANG_TIDY)
    return()
endif()

if(WIN32)
    # The native build compiles everything else.
    set(looked_at "_win\\.cpp$|tst_windowscalls\\.cpp$|/fakes/")
    # What clang-tidy does not find out by itself about the compiler.
    set(includes ${CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES})
    list(FILTER includes INCLUDE REGEX "/c\\+\\+|mingw32/include$")
    list(TRANSFORM includes PREPEND "--extra-arg=-isystem")
    set(compiler --extra-arg=--target=x86_64-w64-mingw32 ${includes})
else()
    set(looked_at "")
    set(compiler "")
endif()

file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/tidy")
set(stamps "")
foreach(folder IN ITEMS src tests/kit/qt tests/unit tests/window tests/fakes)
    get_property(targets DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(sources ${target} SOURCES)
        list(FILTER sources INCLUDE REGEX "\\.cpp$")
        foreach(source IN LISTS sources)
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" NORMALIZE)
            cmake_path(RELATIVE_PATH source BASE_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE name)
            string(REPLACE "/" "-" stamp "${name}")
            set(stamp "${PROJECT_BINARY_DIR}/tidy/${stamp}")
            if(NOT source MATCHES "${looked_at}" OR stamp IN_LIST stamps)
                continue()
            endif()
            cmake_path(GET source FILENAME file)
            string(REPLACE "." "\\." file "${file}")
            add_custom_command(OUTPUT "${stamp}"
                COMMAND "${CLANG_TIDY}" --quiet -p "${PROJECT_BINARY_DIR}" ${compiler} "${source}"
                COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
                DEPENDS "$<FILTER:$<TARGET_OBJECTS:${target}>,INCLUDE,/${file}>" "${PROJECT_SOURCE_DIR}/.clang-tidy"
                COMMENT "clang-tidy ${name}" VERBATIM)
            list(APPEND stamps "${stamp}")
        endforeach()
    endforeach()
endforeach()
add_custom_target(tidy DEPENDS ${stamps})
