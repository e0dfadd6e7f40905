# cpack runs this after it made the packages, for what it cannot do itself: the field Multi-Arch
# (before version 3.31), and no maintainer scripts that call ldconfig; a trigger does that.

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(tree ${CPACK_TOPLEVEL_DIRECTORY}/unpacked)
    file(REMOVE_RECURSE ${tree})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    file(READ ${tree}/DEBIAN/control control)
    foreach(component IN LISTS CPACK_COMPONENTS_ALL)
        string(TOUPPER ${component} upper)
        set(name ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
        set(value ${CPACK_DEBIAN_${upper}_PACKAGE_MULTIARCH})
        if(value AND control MATCHES "Package: ${name}\n" AND NOT control MATCHES "Multi-Arch:")
            file(WRITE ${tree}/DEBIAN/control "Multi-Arch: ${value}\n${control}")
        endif()
    endforeach()
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package} OUTPUT_QUIET
                            COMMAND_ERROR_IS_FATAL ANY)
endforeach()
