# Compile options of this tree's own targets. Not installed.

function(kivcore_warnings target)
    target_compile_options(
        ${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
endfunction()

# Hardens what is installed, in optimised builds only, because fortified calls need optimisation.
# Not with sanitizers: their checks are stricter, and they do not see fortified calls.

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
    # CMake itself links programs so only after check_pie_supported(), which sets cache variables
    # that change how a parent project's programs are linked.
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE -pie)
    endif()
endfunction()

# kivcore_search_path(TARGET PATH): where the installed target looks for libraries. It is linked so at
# once: CMake would pad a path that it replaces later with empty fields, and an empty field means the
# current directory. A path that it removes later, for CMAKE_SKIP_INSTALL_RPATH, is not padded.
function(kivcore_search_path target path)
    set(is_kept ON)
    if(CMAKE_SKIP_INSTALL_RPATH)
        set(is_kept OFF)
    endif()
    set_target_properties(
        ${target} PROPERTIES INSTALL_RPATH ${path} BUILD_WITH_INSTALL_RPATH ${is_kept})
endfunction()

# kivcore_library(NAME MACRO SOURCES...): a library of this tree, with its headers in
# include/NAME, its export macros in <NAME/export.h> and, if it is shared, a soname. MACRO is the
# one that exports a class or a function. A member of an exported class is exported too, unless it
# has the other one, which ends in _NO_EXPORT.
function(kivcore_library name macro)
    add_library(${name} ${ARGN})
    if(BUILD_SHARED_LIBS)
        add_library(${name}::${name} ALIAS ${name})
    else()
        kivcore_archive(${name})
    endif()
    string(REGEX REPLACE "_API$" "_NO_EXPORT" no_export ${macro})
    # Also for static libraries: the program that links them exports their symbols.
    file(
        CONFIGURE
        OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/include/${name}/export.h
        CONTENT [[
#ifndef @macro@
#define @macro@ __attribute__((visibility("default")))
#define @no_export@ __attribute__((visibility("hidden")))
#endif
]]
        @ONLY)
    target_include_directories(
        ${name}
        PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
               $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>
               $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_compile_features(${name} PUBLIC cxx_std_17)
    set_target_properties(
        ${name}
        PROPERTIES VERSION ${PROJECT_VERSION}
                   SOVERSION ${KIVCORE_COMPATIBLE_SINCE})
    kivcore_search_path(${name} "$ORIGIN")
    kivcore_warnings(${name})
    kivcore_hardening(${name})
    # The standard library's templates are exported where they are instantiated. Other libraries
    # have their own instances, and must not come to depend on ours.
    set(script ${PROJECT_SOURCE_DIR}/cmake/no_std_exports.map)
    target_link_options(${name} PRIVATE LINKER:--version-script=${script})
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${script})
    # Calls between the libraries use the address directly, without a PLT stub.
    target_compile_options(${name} PRIVATE -fno-plt)
    if(KIVCORE_INSTALL)
        kivcore_install_library(${name})
    endif()
endfunction()

# The target that users of a static library link. Plug-ins must share the library with their host,
# so the host links all of it and exports its symbols, and a plug-in only compiles against it.
function(kivcore_archive name)
    set(usage ${name}_usage)
    set(type $<TARGET_PROPERTY:TYPE>)
    add_library(${usage} INTERFACE)
    add_library(${name}::${name} ALIAS ${usage})
    set_target_properties(${usage} PROPERTIES EXPORT_NAME ${name})
    set_target_properties(${name} PROPERTIES EXPORT_NAME archive)
    target_compile_features(${usage} INTERFACE cxx_std_17)
    target_include_directories(
        ${usage} INTERFACE $<TARGET_PROPERTY:${name},INTERFACE_INCLUDE_DIRECTORIES>)
    set(whole $<LINK_LIBRARY:WHOLE_ARCHIVE,$<TARGET_NAME:${name}>>)
    target_link_libraries(
        ${usage} INTERFACE $<$<NOT:$<STREQUAL:${type},MODULE_LIBRARY>>:${whole}>)
    target_link_options(
        ${usage} INTERFACE $<$<STREQUAL:${type},EXECUTABLE>:LINKER:--export-dynamic>)
    if(KIVCORE_INSTALL)
        install(TARGETS ${usage} EXPORT ${name}_targets)
    endif()
endfunction()

function(kivcore_install_library name)
    install(
        TARGETS ${name}
        EXPORT ${name}_targets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT libraries
                NAMELINK_COMPONENT development)
    install(
        EXPORT ${name}_targets
        FILE ${name}Targets.cmake
        NAMESPACE ${name}::
        DESTINATION ${KIVCORE_PACKAGE_DIR}
        COMPONENT development)
    install(
        DIRECTORY include/${name} ${CMAKE_CURRENT_BINARY_DIR}/include/${name}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development
        FILES_MATCHING
        PATTERN "*.h")
endfunction()
