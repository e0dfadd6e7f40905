# Compiles every public header alone, as C++17, with all warnings as errors, and refuses a
# header that includes one of libxml2, PCRE2 or PCRE. Typical uses of the headers are compiled
# in every standard that users may choose.

set(sources)
foreach(library base/morbase lib/kivsys lib/kivcore)
    set(include_dir ${PROJECT_SOURCE_DIR}/code/${library}/include)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${include_dir} ${include_dir}/*.h)
    foreach(header IN LISTS headers)
        string(MAKE_C_IDENTIFIER ${header} name)
        set(source ${CMAKE_CURRENT_BINARY_DIR}/public_headers/${name}.cpp)
        file(
            CONFIGURE
            OUTPUT ${source}
            CONTENT [[
#include <@header@>
#include <@header@>  // twice: the guard holds
#if defined(LIBXML_VERSION) || defined(PCRE2_MAJOR) || defined(PCRE_MAJOR)
#error "<@header@> includes a header of libxml2, PCRE2 or PCRE"
#endif
]]
            @ONLY)
        list(APPEND sources ${source})
    endforeach()
endforeach()

# public_headers_check(NAME STANDARD source...)
function(public_headers_check name standard)
    add_library(${name} OBJECT ${ARGN})
    target_link_libraries(${name} PRIVATE kivcore::kivcore kivsys::kivsys morbase::morbase)
    set_target_properties(${name} PROPERTIES COMPILE_WARNING_AS_ERROR ON CXX_STANDARD ${standard})
    kivcore_warnings(${name})
endfunction()

public_headers_check(public_headers 17 ${sources})
foreach(standard 17 20 23)
    public_headers_check(public_uses_${standard} ${standard} core/public_uses.cpp)
endforeach()
# clang-tidy 14 crashes in the headers of later standards; it checks the same source as C++17.
set_target_properties(public_uses_20 public_uses_23 PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
