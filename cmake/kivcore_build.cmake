# How this tree's own targets are compiled. Not installed.

function(kivcore_warnings target)
    target_compile_options(
        ${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
endfunction()

# What is installed is hardened wherever the compiler optimises, which fortified calls need;
# sanitizers have stricter checks of their own, and fortified calls would hide from them.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

function(kivcore_hardening target)
    if("${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
        return()
    endif()
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    target_compile_options(
        ${target}
        PRIVATE $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>
                $<${optimised}:-fstack-protector-strong>)
    target_link_options(${target} PRIVATE $<${optimised}:LINKER:-z,relro,-z,now>)
endfunction()

# kivcore_library(NAME MACRO SOURCES...): one of the tree's shared libraries, with its
# headers in include/NAME, its export macro in <NAME/export.h> and a soname.
function(kivcore_library name macro)
    add_library(${name} SHARED ${ARGN})
    add_library(${name}::${name} ALIAS ${name})
    generate_export_header(
        ${name}
        EXPORT_MACRO_NAME ${macro}
        EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/include/${name}/export.h)
    target_include_directories(
        ${name}
        PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
               $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>
               $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_compile_features(${name} PUBLIC cxx_std_17)
    set_target_properties(
        ${name}
        PROPERTIES VERSION ${PROJECT_VERSION}
                   # While the major version is 0, a minor one may change the interface.
                   SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
                   INSTALL_RPATH "$ORIGIN"
                   BUILD_WITH_INSTALL_RPATH ON)
    kivcore_warnings(${name})
    kivcore_hardening(${name})
    # Calls between the libraries go through their addresses, without a stub on the way.
    target_compile_options(${name} PRIVATE -fno-plt)
    if(KIVCORE_INSTALL)
        kivcore_install_library(${name})
    endif()
endfunction()

function(kivcore_install_library name)
    install(
        TARGETS ${name}
        EXPORT ${name}_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(
        EXPORT ${name}_targets
        FILE ${name}Targets.cmake
        NAMESPACE ${name}::
        DESTINATION ${KIVCORE_PACKAGE_DIR})
    install(
        DIRECTORY include/${name} ${CMAKE_CURRENT_BINARY_DIR}/include/${name}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING
        PATTERN "*.h")
endfunction()
