# kivcore_add_plugin(NAME
#     SOURCES source...
#     [DESCRIPTION file]           the description; by default plugin.xml beside CMakeLists.txt
#     [LINK library...]            libraries that the shared object links
#     [OUTPUT_ROOT directory]      where to create the plug-in directory NAME in the build tree
#     [INSTALL_ROOT directory])    where to install it; without this, nothing is installed
#
# Builds one plug-in directory, OUTPUT_ROOT/NAME, with the layout that a registry loads:
# plugin.xml and darwin/x86/plugin.so. Symbols are hidden unless the source exports them.
# The target is called plugin_NAME. All configurations share the directory, which contains the
# shared object of the one that was built last.

include(CheckCXXCompilerFlag)

function(kivcore_add_plugin name)
    cmake_parse_arguments(
        PARSE_ARGV 1 arg "" "DESCRIPTION;OUTPUT_ROOT;INSTALL_ROOT" "SOURCES;LINK")
    if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "kivcore_add_plugin(${name}): SOURCES is missing, or the call has "
                            "unknown words: ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_DESCRIPTION)
        set(arg_DESCRIPTION plugin.xml)
    endif()
    if(NOT arg_OUTPUT_ROOT)
        set(arg_OUTPUT_ROOT ${CMAKE_CURRENT_BINARY_DIR}/plugins)
    endif()

    # Unique symbols would keep the shared object in memory: closing it would do nothing. C has
    # no unique symbols, and a project that only uses C has no C++ compiler to check.
    if(CMAKE_CXX_COMPILER_LOADED)
        check_cxx_compiler_flag(-fno-gnu-unique KIVCORE_HAS_NO_GNU_UNIQUE)
    endif()

    set(target plugin_${name})
    add_library(${target} MODULE ${arg_SOURCES})
    target_link_libraries(${target} PRIVATE ${arg_LINK})
    # C needs only <kivcore/c_file_api.h>. C++ needs the library, so LINK must name it.
    set(headers $<TARGET_PROPERTY:kivcore::kivcore,INTERFACE_INCLUDE_DIRECTORIES>)
    target_include_directories(${target} PRIVATE $<$<COMPILE_LANGUAGE:C>:${headers}>)
    if(KIVCORE_HAS_NO_GNU_UNIQUE)
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
    endif()
    set_target_properties(
        ${target}
        PROPERTIES PREFIX ""
                   OUTPUT_NAME plugin
                   SUFFIX .so
                   C_VISIBILITY_PRESET hidden
                   CXX_VISIBILITY_PRESET hidden
                   VISIBILITY_INLINES_HIDDEN ON
                   LIBRARY_OUTPUT_DIRECTORY ${arg_OUTPUT_ROOT}/${name}/darwin/x86)
    # Otherwise CMake adds the configuration's name to the directory and its postfix to the file.
    foreach(config IN LISTS CMAKE_CONFIGURATION_TYPES CMAKE_BUILD_TYPE)
        string(TOUPPER ${config} config)
        set_target_properties(
            ${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY_${config}
                                 ${arg_OUTPUT_ROOT}/${name}/darwin/x86 ${config}_POSTFIX "")
    endforeach()

    # A custom command, not configure_file: every build then copies a changed description.
    get_filename_component(description ${arg_DESCRIPTION} ABSOLUTE)
    set(copy ${arg_OUTPUT_ROOT}/${name}/plugin.xml)
    add_custom_command(
        OUTPUT ${copy}
        COMMAND ${CMAKE_COMMAND} -E copy ${description} ${copy}
        DEPENDS ${description}
        VERBATIM)
    add_custom_target(${target}_description ALL DEPENDS ${copy})
    add_dependencies(${target} ${target}_description)

    if(arg_INSTALL_ROOT)
        install(TARGETS ${target} LIBRARY DESTINATION ${arg_INSTALL_ROOT}/${name}/darwin/x86)
        install(
            FILES ${description}
            DESTINATION ${arg_INSTALL_ROOT}/${name}
            RENAME plugin.xml)
    endif()
endfunction()
