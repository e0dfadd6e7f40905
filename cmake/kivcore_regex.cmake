# kivcore can use either of two regular expression libraries: see its src/pattern.h. Sets
# KIVCORE_REGEX_LIBRARY, pcre2 or pcrecpp, and KIVCORE_REGEX_MODULE, its name in pkg-config.

set(KIVCORE_REGEX auto CACHE STRING "Regular expressions: pcre2, pcrecpp, or auto for pcre2 if installed")
set_property(CACHE KIVCORE_REGEX PROPERTY STRINGS auto pcre2 pcrecpp)

find_package(PkgConfig REQUIRED)
pkg_check_modules(kivcore_pcre2 QUIET IMPORTED_TARGET GLOBAL libpcre2-8>=10.31)
pkg_check_modules(kivcore_pcrecpp QUIET IMPORTED_TARGET GLOBAL libpcrecpp)
set(KIVCORE_REGEX_LIBRARY ${KIVCORE_REGEX})
if(KIVCORE_REGEX_LIBRARY STREQUAL "auto")
    set(KIVCORE_REGEX_LIBRARY pcre2)
    if(kivcore_pcrecpp_FOUND AND NOT kivcore_pcre2_FOUND)
        set(KIVCORE_REGEX_LIBRARY pcrecpp)
    endif()
endif()
if(NOT KIVCORE_REGEX_LIBRARY MATCHES "^(pcre2|pcrecpp)$")
    message(FATAL_ERROR "KIVCORE_REGEX is '${KIVCORE_REGEX}': it must be auto, pcre2 or pcrecpp")
endif()
if(NOT kivcore_${KIVCORE_REGEX_LIBRARY}_FOUND)
    message(FATAL_ERROR "${KIVCORE_REGEX_LIBRARY} was not found: install its development files (on "
                        "Debian libpcre2-dev, or libpcre3-dev for pcrecpp), or set KIVCORE_REGEX")
endif()
message(STATUS "Regular expressions: ${KIVCORE_REGEX_LIBRARY} ${kivcore_${KIVCORE_REGEX_LIBRARY}_VERSION}")

set(KIVCORE_REGEX_MODULE libpcrecpp)
if(KIVCORE_REGEX_LIBRARY STREQUAL "pcre2")
    set(KIVCORE_REGEX_MODULE libpcre2-8)
endif()
