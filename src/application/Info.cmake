# Writes OUTPUT from Info.cpp.in and BUILD_ID_OUTPUT from BuildId.cpp.in, unless they are as they should be:
# cmake -DSOURCE=… -DVERSION=… -DKIND=… -DOUTPUT=… -DBUILD_ID_OUTPUT=… -P Info.cmake

# Not the repository of a folder above, when these sources come without one.
cmake_path(GET SOURCE PARENT_PATH above)
set(ENV{GIT_CEILING_DIRECTORIES} ${above})
find_program(GIT git)
if(GIT)
    execute_process(COMMAND ${GIT} log -1 --format=%ct
        WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE committed OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(committed MATCHES "^[0-9]+$")
    set(ENV{SOURCE_DATE_EPOCH} ${committed})
endif()
# CMake takes SOURCE_DATE_EPOCH for the present, where it is set.
string(TIMESTAMP DATE "%Y-%m-%d" UTC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.cpp.in ${OUTPUT} @ONLY)

# What a module and the program that loads it have to agree on: every type that passes between them, and how it is laid out.
file(GLOB_RECURSE headers ${SOURCE}/src/*.h)
list(SORT headers)
set(contents "${VERSION} ${KIND}")
foreach(header IN LISTS headers)
    file(SHA256 ${header} digest)
    string(APPEND contents " ${digest}")
endforeach()
string(SHA256 BUILD_ID "${contents}")
configure_file(${SOURCE}/src/platform/linux/BuildId.cpp.in ${BUILD_ID_OUTPUT} @ONLY)
