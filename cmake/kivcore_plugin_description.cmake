# Writes a description from the arguments of kivcore_add_plugin(), which documents them, and
# refuses what would make a description that the library or a host does not understand. The
# functions use variables of that call: name, call, and the parsed arguments, arg_*.

# Each field of an id is one word.
function(kivcore_check_id_fields)
    foreach(argument IN ITEMS CATEGORY TYPE KEYS DEVELOPER_ID)
        foreach(field IN LISTS arg_${argument})
            if(NOT field MATCHES "^[^ \t\r\n/|]+$")
                message(FATAL_ERROR "${call}: ${argument} '${field}' is a field of the plug-in's "
                                    "id: write a word without blanks, '/' and '|'")
            endif()
        endforeach()
    endforeach()
    set(keys ${arg_KEYS})
    list(REMOVE_DUPLICATES keys)
    if(NOT keys STREQUAL "${arg_KEYS}")
        list(JOIN arg_KEYS " " keys)
        message(FATAL_ERROR "${call}: KEYS has a key twice: ${keys}")
    endif()
    string(REPLACE "." ";" numbers "${arg_VERSION}")
    list(LENGTH numbers count)
    foreach(number IN LISTS numbers)
        if(NOT number MATCHES "^[0-9]+$" OR number GREATER 255)
            set(count 0)
        endif()
    endforeach()
    if(count EQUAL 0 OR count GREATER 4)
        message(FATAL_ERROR "${call}: VERSION '${arg_VERSION}' is a field of the plug-in's id: "
                            "write up to four numbers below 256, for example 1.0")
    endif()
endfunction()

# Splits the bindings into the lists roles and functions, of the caller.
function(kivcore_split_bindings)
    set(roles)
    set(functions)
    foreach(binding IN LISTS arg_BIND)
        if(NOT binding MATCHES "^([a-z_]+)=([A-Za-z_][A-Za-z0-9_]*)$")
            message(FATAL_ERROR "${call}: BIND '${binding}' must be ROLE=FUNCTION, for example "
                                "open=${name}_open")
        endif()
        if(CMAKE_MATCH_1 IN_LIST roles)
            message(FATAL_ERROR "${call}: BIND has the role '${CMAKE_MATCH_1}' twice")
        endif()
        list(APPEND roles ${CMAKE_MATCH_1})
        list(APPEND functions ${CMAKE_MATCH_2})
    endforeach()
    set(roles ${roles} PARENT_SCOPE)
    set(functions ${functions} PARENT_SCOPE)
endfunction()

# The library calls these roles and no others.
function(kivcore_check_roles)
    if(arg_FLAVOR STREQUAL "native")
        set(needed create)
    elseif(NOT arg_FLAVOR STREQUAL "c-style")
        message(FATAL_ERROR "${call}: FLAVOR '${arg_FLAVOR}' must be native or c-style")
    elseif("${arg_CATEGORY}/${arg_TYPE}" STREQUAL "io/read")
        set(needed open close read size)
    elseif("${arg_CATEGORY}/${arg_TYPE}" STREQUAL "io/write")
        set(needed open close write flush size)
    else()
        message(FATAL_ERROR "${call}: a c-style plug-in has CATEGORY io and TYPE read or write")
    endif()
    set(known ${needed})
    if(arg_FLAVOR STREQUAL "c-style")
        list(APPEND known seek get_pos set_pos)
        if(NOT "get_pos" IN_LIST roles OR NOT "set_pos" IN_LIST roles)
            list(APPEND needed seek)
        endif()
    endif()
    foreach(role IN LISTS needed)
        if(NOT role IN_LIST roles)
            message(FATAL_ERROR "${call}: BIND lacks the role '${role}': add ${role}=FUNCTION")
        endif()
    endforeach()
    foreach(role IN LISTS roles)
        if(NOT role IN_LIST known)
            list(JOIN known ", " known)
            message(FATAL_ERROR "${call}: BIND has the role '${role}', which the library does not "
                                "call for this flavor and type: write one of ${known}")
        endif()
    endforeach()
endfunction()

# kivcore_xml_element(VARIABLE ELEMENT CONTENT): adds an element to the text in the variable, unless
# the content is empty. Attributes may follow the name of the element.
function(kivcore_xml_element text element content)
    if(content STREQUAL "")
        return()
    endif()
    string(REPLACE "&" "&amp;" content "${content}")
    string(REPLACE "<" "&lt;" content "${content}")
    string(REPLACE ">" "&gt;" content "${content}")
    string(REGEX REPLACE " .*" "" name "${element}")
    set(${text} "${${text}}        <${element}>${content}</${name}>\n" PARENT_SCOPE)
endfunction()

# Writes the file, unless it has this content already.
function(kivcore_write_description file)
    kivcore_check_id_fields()
    kivcore_split_bindings()
    kivcore_check_roles()
    if(NOT arg_NAME)
        set(arg_NAME ${name})
    endif()
    list(JOIN arg_KEYS "|" keys)
    foreach(text IN ITEMS interface info developer)
        set(${text} "")
    endforeach()
    kivcore_xml_element(interface category "${arg_CATEGORY}")
    kivcore_xml_element(interface type "${arg_TYPE}")
    kivcore_xml_element(interface key "${keys}")
    kivcore_xml_element(interface flavor "${arg_FLAVOR}")
    kivcore_xml_element(interface version "${arg_INTERFACE_VERSION}")
    foreach(role function IN ZIP_LISTS roles functions)
        kivcore_xml_element(interface "bind function=\"${role}\"" "${function}")
    endforeach()
    kivcore_xml_element(info name "${arg_NAME}")
    kivcore_xml_element(info version "${arg_VERSION}")
    kivcore_xml_element(info copyright "${arg_COPYRIGHT}")
    kivcore_xml_element(developer name "${arg_DEVELOPER}")
    kivcore_xml_element(developer id "${arg_DEVELOPER_ID}")
    string(APPEND info "        <developer>\n${developer}        </developer>\n")
    kivcore_xml_element(info description "${arg_SUMMARY}")
    file(
        CONFIGURE
        OUTPUT ${file}
        CONTENT [[
<?xml version="1.0" encoding="UTF-8"?>
<plugin id="@name@">
    <interface>
@interface@    </interface>
    <info>
@info@    </info>
</plugin>
]]
        @ONLY)
endfunction()
