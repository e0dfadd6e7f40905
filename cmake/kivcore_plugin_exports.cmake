# Writes the linker's version script for one plug-in: what its description binds is exported, and
# every other symbol is local. A script for the build, which runs it again when the description
# has changed:
#
#     cmake -DDESCRIPTION=file -DSCRIPT=file [-DEXPORTS="name..."] -P kivcore_plugin_exports.cmake
#
# This reads descriptions less exactly than the library does; what differs, kivplug check reports.

cmake_policy(VERSION 3.25)

file(READ "${DESCRIPTION}" text)

# By position: the regular expressions of CMake find the longest match.
string(FIND "${text}" "<!--" start)
while(start GREATER_EQUAL 0)
    string(SUBSTRING "${text}" 0 ${start} before)
    string(SUBSTRING "${text}" ${start} -1 comment)
    string(FIND "${comment}" "-->" end)
    if(end LESS 0)
        message(FATAL_ERROR "${DESCRIPTION}: a comment is not closed: add '-->' at its end")
    endif()
    math(EXPR end "${end} + 3")
    string(SUBSTRING "${comment}" ${end} -1 after)
    set(text "${before}${after}")
    string(FIND "${text}" "<!--" start)
endwhile()

# These divide or join the elements of lists, and no name has them.
string(REGEX REPLACE "[][;\\]" "?" text "${text}")
set(attributes "([^\"'>]|\"[^\"]*\"|'[^']*')*")
string(REGEX MATCHALL "<bind[ \t\r\n]${attributes}>[^<]*" bindings "${text}")
if(NOT bindings)
    message(FATAL_ERROR "${DESCRIPTION}: no function is bound, so a host could call nothing: add a "
                        "bind element for each function, and save the file in UTF-8")
endif()
foreach(binding IN LISTS bindings)
    string(REGEX REPLACE "^<bind${attributes}>" "" function "${binding}")
    if(NOT function MATCHES "^[^ \t\r\n\"?*&]+$")
        message(FATAL_ERROR "${DESCRIPTION}: '${function}' is not the name of a function: write "
                            "the exported name alone between <bind> and </bind>")
    endif()
    list(APPEND functions "\"${function}\"")  # quoted, a name is not a pattern
endforeach()

separate_arguments(EXPORTS)
list(APPEND functions ${EXPORTS})
list(REMOVE_DUPLICATES functions)
list(JOIN functions "; " functions)
file(WRITE "${SCRIPT}" "{ global: ${functions}; local: *; };\n")
