# cpack runs this before it makes the packages. Adds the files that Debian's policy asks for to the
# staged ones.

set(documents ${CPACK_TEMPORARY_DIRECTORY}/documents)

# The license in the format of a control file: lines are indented, and an empty line is a dot.
function(kivcore_write_copyright)
    file(READ ${CPACK_KIVCORE_SOURCE_DIR}/LICENSE license)
    string(REGEX REPLACE "^.*\n(Redistribution )" "\\1" license "${license}")
    string(REGEX REPLACE "\n\n" "\n.\n" license "${license}")
    string(REGEX REPLACE "\n(.)" "\n \\1" license "${license}")
    file(
        WRITE ${documents}/copyright
        "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
        "Upstream-Name: kivcore\n\n"
        "Files: *\nCopyright: 2026 the kivcore authors\nLicense: BSD-3-Clause\n ${license}")
endfunction()

# kivcore_add_entry(VERSION DATE): appends to Debian's change log.
function(kivcore_add_entry version date)
    execute_process(
        COMMAND date --utc --rfc-email --date=${date}
        OUTPUT_VARIABLE date
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    file(
        APPEND ${documents}/changelog.Debian
        "kivcore (${version}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
        "  * Version ${version}: changelog.gz has the changes.\n\n"
        " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n\n")
endfunction()

function(kivcore_write_changelogs)
    file(COPY_FILE ${CPACK_KIVCORE_SOURCE_DIR}/CHANGELOG.md ${documents}/changelog)
    file(STRINGS ${documents}/changelog releases REGEX "^## \\[[0-9]")
    file(REMOVE ${documents}/changelog.Debian)
    string(REPLACE "." "\\." this_version "${CPACK_PACKAGE_VERSION}")
    if(NOT releases MATCHES "^## \\[${this_version}\\]")
        string(TIMESTAMP today UTC)
        kivcore_add_entry(${CPACK_PACKAGE_VERSION} ${today})
    endif()
    foreach(release IN LISTS releases)
        if(NOT release MATCHES "^## \\[([0-9.]+)\\] - ([0-9-]+)$")
            message(FATAL_ERROR "CHANGELOG.md: '${release}' must be '## [VERSION] - YYYY-MM-DD'")
        endif()
        kivcore_add_entry(${CMAKE_MATCH_1} ${CMAKE_MATCH_2})
    endforeach()
endfunction()

function(kivcore_compress)
    execute_process(COMMAND gzip -9nf ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

kivcore_write_copyright()
kivcore_write_changelogs()
kivcore_compress(${documents}/changelog ${documents}/changelog.Debian)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
    file(COPY ${documents}/ DESTINATION ${share}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(GLOB manuals ${share}/man/man*/*)
    if(manuals)
        kivcore_compress(${manuals})
    endif()
endforeach()
