# Writes OUTPUT from Info.cpp.in, unless it is as it should be: cmake -DSOURCE=… -DVERSION=… -DOUTPUT=… -P Info.cmake

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
