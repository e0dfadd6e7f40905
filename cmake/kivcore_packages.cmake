# The Debian packages, which cpack makes from the preset package; call scripts/package. Each contains
# one component of the installation.

set(KIVCORE_MAINTAINER "The kivcore authors <kivcore@example.org>" CACHE STRING
    "Name and address of the packages' maintainer")

# kivcore_package(COMPONENT PACKAGE CONTROL_FIELD value... SUMMARY text DESCRIPTION text)
function(kivcore_package component package)
    string(TOUPPER ${component} upper)
    set(fields SECTION ARCHITECTURE DEPENDS RECOMMENDS SUGGESTS CONTROL_EXTRA MULTIARCH)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "${fields};SUMMARY;DESCRIPTION" "")
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
    foreach(field IN LISTS fields)
        set(CPACK_DEBIAN_${upper}_PACKAGE_${field} "${arg_${field}}" PARENT_SCOPE)
    endforeach()
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${arg_SUMMARY}\n${arg_DESCRIPTION}" PARENT_SCOPE)
endfunction()

set(libraries libkivcore${KIVCORE_COMPATIBLE_SINCE})  # named after the soname
set(version ${PROJECT_VERSION}-1)
set(triggers ${PROJECT_BINARY_DIR}/packages/triggers)
set(shlibs ${PROJECT_BINARY_DIR}/packages/shlibs)
file(WRITE ${triggers} "activate-noawait ldconfig\n")
file(WRITE ${shlibs} "")
foreach(library morbase kivsys kivcore)
    file(APPEND ${shlibs}
         "lib${library} ${KIVCORE_COMPATIBLE_SINCE} ${libraries} (>= ${PROJECT_VERSION})\n")
endforeach()

set(about "kivcore finds the plug-ins of a media application, reads their descriptions and
creates objects by id: readers, writers, browsers and monitors. A plug-in is a
directory with a description and a shared object, which is opened only when its
first object is created.")
set(CPACK_COMPONENTS_ALL)
kivcore_package(
    libraries ${libraries}
    SECTION libs
    MULTIARCH same
    CONTROL_EXTRA "${triggers};${shlibs}"
    SUGGESTS kivcore-plugins
    SUMMARY "plug-in framework for media applications - libraries"
    DESCRIPTION "${about}

This package contains the libraries.")
kivcore_package(
    development libkivcore-dev
    SECTION libdevel
    MULTIARCH same
    DEPENDS "${libraries} (= ${version})"
    RECOMMENDS kivplug
    SUGGESTS "cmake (>= 3.25), kivcore-doc, kivcore-plugins"
    SUMMARY "plug-in framework for media applications - development files"
    DESCRIPTION "${about}

This package contains what is needed to compile hosts and plug-ins: headers and
files for CMake and pkg-config.")
kivcore_package(
    kivplug kivplug
    SECTION utils
    DEPENDS "${libraries} (= ${version})"
    RECOMMENDS kivcore-plugins
    SUGGESTS kivcore-doc
    SUMMARY "show, use and check plug-ins for media applications"
    DESCRIPTION "${about}

kivplug lists plug-ins and reads, writes, browses and watches through them. It
also finds mistakes in plug-ins and explains why one is missing.")
kivcore_package(
    plugins kivcore-plugins
    SECTION libs
    MULTIARCH same
    DEPENDS "${libraries} (>= ${PROJECT_VERSION})"
    SUMMARY "plug-in framework for media applications - plug-ins"
    DESCRIPTION "${about}

This package contains plug-ins for plain files, gzip files, archives, sequences
of files, sound files, and changes in directories.")
if(KIVCORE_BUILD_PYTHON)
    # Python's byte code is not in the package: it is made at the installation, and removed with it.
    set(compile ${PROJECT_BINARY_DIR}/packages/postinst)
    set(clean ${PROJECT_BINARY_DIR}/packages/prerm)
    file(WRITE ${compile}
         "#!/bin/sh\nset -e\n[ \"$1\" != configure ] || py3compile -p python3-kivcore\n")
    file(WRITE ${clean} "#!/bin/sh\nset -e\npy3clean -p python3-kivcore\n")
    file(CHMOD ${compile} ${clean} FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
         GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    string(REGEX REPLACE "^([0-9]+)\\.([0-9]+).*" "\\1;\\2" python ${KIVCORE_PYTHON_VERSION})
    list(POP_FRONT python major minor)
    math(EXPR next_minor "${minor} + 1")
    kivcore_package(
        python python3-kivcore
        SECTION python
        CONTROL_EXTRA "${compile};${clean}"
        DEPENDS
            "${libraries} (= ${version}), python3 (>= ${major}.${minor}~), python3 (<< ${major}.${next_minor}~), python3-numpy"
        RECOMMENDS kivcore-plugins
        SUMMARY "plug-in framework for media applications - Python module"
        DESCRIPTION "${about}

This package contains the module kivcore for Python 3. Readers and writers are
raw streams, frames of sound are NumPy arrays.")
endif()
kivcore_package(
    documentation kivcore-doc
    SECTION doc
    ARCHITECTURE all
    MULTIARCH foreign
    SUMMARY "plug-in framework for media applications - documentation"
    DESCRIPTION "${about}

This package contains guides for authors of hosts and of plug-ins, and a
reference of the headers.")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CONTACT "${KIVCORE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_SET_DESTDIR ON)  # otherwise the staging directory would be the prefix in kivcore.pc
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE kivcore)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/kivcore_package_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/kivcore_package_control.cmake)
set(CPACK_KIVCORE_SOURCE_DIR ${PROJECT_SOURCE_DIR})
include(CPack)
