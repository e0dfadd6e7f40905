include_guard(GLOBAL)

# pattern_seats: the two implementations of code/lib/kivcore/src/pattern.h, each in its own
# library, so that a program can compare them. Needs both regular expression libraries.
set(kivcore_sources ${PROJECT_SOURCE_DIR}/code/lib/kivcore/src)
add_library(pattern_seats STATIC ${CMAKE_CURRENT_LIST_DIR}/pattern_seats.cpp)
target_include_directories(pattern_seats PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
kivcore_warnings(pattern_seats)
foreach(seat pcre2 pcrecpp)
    add_library(
        pattern_${seat} SHARED ${CMAKE_CURRENT_LIST_DIR}/pattern_seat.cpp
                               ${kivcore_sources}/pattern.cpp
                               ${kivcore_sources}/pattern_${seat}.cpp)
    target_compile_definitions(pattern_${seat} PRIVATE SEAT=matching_with_${seat})
    target_include_directories(pattern_${seat} PRIVATE ${kivcore_sources})
    target_link_libraries(pattern_${seat} PRIVATE PkgConfig::kivcore_${seat})
    kivcore_warnings(pattern_${seat})
    set_target_properties(pattern_${seat} PROPERTIES LIBRARY_OUTPUT_DIRECTORY
                                                     ${CMAKE_CURRENT_BINARY_DIR})
    target_link_libraries(pattern_seats PUBLIC pattern_${seat})
endforeach()
