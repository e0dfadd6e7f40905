# kivcore_add_plugin(NAME
#     SOURCES source...
#     [LINK library...]            libraries that the shared object links
#     [EXPORTS name...]            names to export besides the bound functions, or patterns of names
#     [OUTPUT_ROOT directory]      where to create the plug-in directory in the build tree; by
#                                  default plugins in the current binary directory
#     [INSTALL_ROOT directory]     where to install it; without this, nothing is installed
#     [DESCRIPTION file])          the description; by default plugin.xml beside CMakeLists.txt. A
#                                  command that generates it must come before the call
#
# Builds one plug-in directory with the layout that a registry loads: OUTPUT_ROOT/NAME/plugin.xml
# and OUTPUT_ROOT/NAME/darwin/x86/plugin.so. The target of the shared object is plugin_NAME. With a
# multi-configuration generator, each configuration has its own directory,
# OUTPUT_ROOT/CONFIGURATION/NAME; a generator expression in OUTPUT_ROOT, for example
# plugins/$<CONFIG>, determines another place. Installed are INSTALL_ROOT/NAME/plugin.xml and so on.
#
# In place of a description, the call may contain what it says:
#
#     CATEGORY word  TYPE word     for example io and read
#     KEYS word...                 each makes an id
#     VERSION number               of the plug-in, for example 1.0
#     DEVELOPER_ID word            one word for the ids
#     DEVELOPER text               the developer's name
#     FLAVOR native|c-style
#     BIND role=function...        for example create=upper_create
#     [NAME text]                  by default NAME, the first argument
#     [SUMMARY text]               the element description
#     [COPYRIGHT text]
#     [INTERFACE_VERSION text]     the element version of interface
#
# The shared object exports the functions that the description binds and nothing else: a version
# script makes all other symbols local, also those of static libraries. The sources must give the
# bound functions default visibility, because they are compiled with hidden visibility. Functions
# that no library defines fail the link, except with sanitizers or if kivcore is a static library:
# then the host defines some of them.
#
# If the inspector kivplug is available (target kivcore::kivplug), the default target checks the
# description. Tests are called check_NAME and run kivplug check on the plug-in directory; they
# exist if the project calls enable_testing() and does not turn BUILD_TESTING off.

# Functions keep the policies of the place of their definition.
cmake_policy(VERSION 3.25)

include(CheckCXXCompilerFlag)
include(${CMAKE_CURRENT_LIST_DIR}/kivcore_plugin_description.cmake)

function(kivcore_add_plugin name)
    set(call "kivcore_add_plugin(${name})")
    set(places DESCRIPTION OUTPUT_ROOT INSTALL_ROOT)
    set(needed_texts CATEGORY TYPE VERSION DEVELOPER_ID DEVELOPER FLAVOR)
    set(other_texts NAME SUMMARY COPYRIGHT INTERFACE_VERSION)
    cmake_parse_arguments(
        PARSE_ARGV 1 arg "" "${places};${needed_texts};${other_texts}"
        "SOURCES;LINK;EXPORTS;KEYS;BIND")
    if(arg_UNPARSED_ARGUMENTS)
        list(JOIN arg_UNPARSED_ARGUMENTS " " unknown)
        message(FATAL_ERROR "${call}: unknown arguments: ${unknown}")
    endif()
    list(REMOVE_ITEM arg_KEYWORDS_MISSING_VALUES LINK EXPORTS)  # these may be empty
    if(arg_KEYWORDS_MISSING_VALUES)
        list(JOIN arg_KEYWORDS_MISSING_VALUES " and after " without)
        message(FATAL_ERROR "${call}: no value after ${without}")
    endif()
    if(NOT arg_SOURCES)
        message(FATAL_ERROR "${call}: SOURCES is missing")
    endif()
    kivcore_find_description(description)
    kivcore_find_output_root(root)

    set(target plugin_${name})
    add_library(${target} MODULE ${arg_SOURCES})
    target_link_libraries(${target} PRIVATE ${arg_LINK})
    # C needs only <kivcore/c_file_api.h>. C++ needs the library, so LINK must name it.
    set(headers $<TARGET_PROPERTY:kivcore::kivcore,INTERFACE_INCLUDE_DIRECTORIES>)
    target_include_directories(${target} PRIVATE $<$<COMPILE_LANGUAGE:C>:${headers}>)
    kivcore_place_plugin(${root}/${name} ${description})
    kivcore_limit_symbols(${description})
    kivcore_check_plugin(${root}/${name})
    if(arg_INSTALL_ROOT)
        install(TARGETS ${target} LIBRARY DESTINATION ${arg_INSTALL_ROOT}/${name}/darwin/x86)
        install(
            FILES ${description}
            DESTINATION ${arg_INSTALL_ROOT}/${name}
            RENAME plugin.xml)
    endif()
endfunction()

# The rest is for kivcore_add_plugin() alone. The functions use the variables of that call: name,
# call, target, and the parsed arguments, arg_*.

# Sets the variable to the path of the description, which is written here if the call has what it
# says.
function(kivcore_find_description variable)
    set(given)
    set(missing)
    foreach(argument IN LISTS needed_texts other_texts ITEMS KEYS BIND)
        string(STRIP "${arg_${argument}}" value)
        if(NOT value STREQUAL "")
            list(APPEND given ${argument})
        elseif(NOT argument IN_LIST other_texts)
            list(APPEND missing ${argument})
        endif()
    endforeach()
    list(JOIN given ", " given)
    list(JOIN missing ", " missing)
    if(given AND arg_DESCRIPTION)
        message(FATAL_ERROR "${call}: pass either DESCRIPTION or ${given}")
    elseif(given AND missing)
        message(FATAL_ERROR "${call}: pass ${missing} too, or a DESCRIPTION and not ${given}")
    elseif(given)
        set(description ${CMAKE_CURRENT_BINARY_DIR}/plugin_${name}.xml)
        kivcore_write_description(${description})
    else()
        if(NOT arg_DESCRIPTION)
            set(arg_DESCRIPTION plugin.xml)
        endif()
        get_filename_component(description ${arg_DESCRIPTION} ABSOLUTE)
        get_source_file_property(is_generated ${description} GENERATED)
        if(NOT EXISTS ${description} AND NOT is_generated)
            message(FATAL_ERROR "${call}: there is no description ${description}: write it, name "
                                "another with DESCRIPTION, or pass ${missing}")
        endif()
    endif()
    set(${variable} ${description} PARENT_SCOPE)
endfunction()

function(kivcore_find_output_root variable)
    set(root ${arg_OUTPUT_ROOT})
    if(NOT root)
        set(root plugins)
    endif()
    get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
    if(is_multi_config AND NOT root MATCHES "\\$<")
        string(APPEND root /$<CONFIG>)
    endif()
    # A leading expression may yield an absolute path.
    if(NOT root MATCHES "^\\$<")
        get_filename_component(root ${root} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_BINARY_DIR})
    endif()
    set(${variable} ${root} PARENT_SCOPE)
endfunction()

# Builds the shared object and copies the description where a host looks.
function(kivcore_place_plugin directory description)
    set_target_properties(
        ${target}
        PROPERTIES PREFIX ""
                   OUTPUT_NAME plugin
                   SUFFIX .so
                   LIBRARY_OUTPUT_DIRECTORY ${directory}/darwin/x86)
    # Otherwise a configuration of the project may have another directory and a postfix.
    foreach(config IN LISTS CMAKE_CONFIGURATION_TYPES CMAKE_BUILD_TYPE)
        string(TOUPPER ${config} config)
        set_target_properties(
            ${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY_${config} ${directory}/darwin/x86
                                 ${config}_POSTFIX "")
    endforeach()
    # A command, not configure_file: every build then copies a changed description.
    add_custom_command(
        OUTPUT ${directory}/plugin.xml
        COMMAND ${CMAKE_COMMAND} -E copy ${description} ${directory}/plugin.xml
        DEPENDS ${description}
        VERBATIM)
    add_custom_target(${target}_description ALL DEPENDS ${directory}/plugin.xml)
    add_dependencies(${target} ${target}_description)
endfunction()

function(kivcore_limit_symbols description)
    set_target_properties(
        ${target} PROPERTIES C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden
                             VISIBILITY_INLINES_HIDDEN ON)
    # Unique symbols would keep the shared object in memory: closing it would do nothing. C has
    # no unique symbols, and a project that only uses C has no C++ compiler to check.
    if(CMAKE_CXX_COMPILER_LOADED)
        check_cxx_compiler_flag(-fno-gnu-unique KIVCORE_HAS_NO_GNU_UNIQUE)
    endif()
    if(KIVCORE_HAS_NO_GNU_UNIQUE)
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
    endif()

    set(version_script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
    set(writer ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/kivcore_plugin_exports.cmake)
    list(JOIN arg_EXPORTS " " exports)
    add_custom_command(
        OUTPUT ${version_script}
        COMMAND ${CMAKE_COMMAND} -DDESCRIPTION=${description} -DSCRIPT=${version_script}
                -DEXPORTS=${exports} -P ${writer}
        DEPENDS ${description} ${writer}
        VERBATIM)
    target_sources(${target} PRIVATE ${version_script})
    target_link_options(${target} PRIVATE LINKER:--version-script=${version_script})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${version_script})

    kivcore_is_sanitized(is_sanitized)
    get_target_property(library kivcore::kivcore TYPE)
    # A static library has a target without a file for those who link it.
    if(NOT is_sanitized AND NOT library STREQUAL "INTERFACE_LIBRARY")
        target_link_options(${target} PRIVATE LINKER:-z,defs)
    endif()
endfunction()

# A program contains the run-time library of the sanitizers, so a plug-in must not.
function(kivcore_is_sanitized variable)
    get_directory_property(options COMPILE_OPTIONS)
    get_directory_property(link_options LINK_OPTIONS)
    string(APPEND options " ${link_options} ${CMAKE_MODULE_LINKER_FLAGS}")
    foreach(language IN ITEMS C CXX)
        string(APPEND options " ${CMAKE_${language}_FLAGS}")
        foreach(config IN LISTS CMAKE_CONFIGURATION_TYPES CMAKE_BUILD_TYPE)
            string(TOUPPER ${config} config)
            string(APPEND options " ${CMAKE_${language}_FLAGS_${config}}")
        endforeach()
    endforeach()
    string(REGEX MATCH "-fsanitize" found "${options}")
    set(${variable} "${found}" PARENT_SCOPE)
endfunction()

function(kivcore_check_plugin directory)
    if(NOT TARGET kivcore::kivplug)
        message(STATUS "${call}: kivplug is not there to check the plug-in")
        return()
    endif()
    if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
        message(STATUS "${call}: kivplug is for another machine and cannot check the plug-in")
        return()
    endif()
    # A target of its own: building the plug-in alone does not wait for kivplug.
    set(checked ${CMAKE_CURRENT_BINARY_DIR}/${target}_$<CONFIG>.checked)
    add_custom_command(
        OUTPUT ${checked}
        COMMAND kivcore::kivplug check --description --quiet ${directory}
        COMMAND ${CMAKE_COMMAND} -E touch ${checked}
        DEPENDS ${directory}/plugin.xml $<TARGET_FILE:kivcore::kivplug>
        VERBATIM)
    add_custom_target(${target}_check ALL DEPENDS ${checked})
    add_dependencies(${target}_check ${target})
    if(BUILD_TESTING OR NOT DEFINED BUILD_TESTING)
        add_test(NAME check_${name} COMMAND kivcore::kivplug check ${directory})
    endif()
endfunction()
