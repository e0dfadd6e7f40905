# Compiles every public header alone, as C++17, with all warnings as errors, and refuses one
# that lets a header of libxml2 or PCRE into its users' sources.

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
#if defined(LIBXML_VERSION) || defined(PCRE_MAJOR)
#error "<@header@> includes a header of libxml2 or PCRE"
#endif
]]
            @ONLY)
        list(APPEND sources ${source})
    endforeach()
endforeach()

add_library(public_headers OBJECT ${sources})
target_link_libraries(public_headers PRIVATE kivcore::kivcore kivsys::kivsys morbase::morbase)
set_target_properties(public_headers PROPERTIES COMPILE_WARNING_AS_ERROR ON)
kivcore_warnings(public_headers)
