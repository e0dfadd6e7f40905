# The installed package: find_package(kivcore) and pkg-config's kivcore, and the guides.

include(CMakePackageConfigHelpers)

configure_package_config_file(
    cmake/kivcoreConfig.cmake.in ${PROJECT_BINARY_DIR}/kivcoreConfig.cmake
    INSTALL_DESTINATION ${KIVCORE_PACKAGE_DIR}
    PATH_VARS CMAKE_INSTALL_BINDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/kivcoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kivcoreConfig.cmake
              ${PROJECT_BINARY_DIR}/kivcoreConfigVersion.cmake cmake/kivcore_add_plugin.cmake
              cmake/kivcore_plugin_description.cmake cmake/kivcore_plugin_exports.cmake
        DESTINATION ${KIVCORE_PACKAGE_DIR}
        COMPONENT development)

# The prefix is only known at installation. If the installation is moved later, users call
# pkg-config --define-prefix.
set(prefix @prefix@)
set(libraries "-lkivcore -lkivsys -lmorbase")
set(plugin_libraries "-Wl,-z,defs -L\${libdir} ${libraries}")  # what a native plug-in links
set(requires)
if(NOT BUILD_SHARED_LIBS)
    # The same as the CMake package does; see kivcore_archive().
    set(libraries "-Wl,--export-dynamic -Wl,--whole-archive ${libraries} -Wl,--no-whole-archive")
    string(APPEND libraries " -ldl -pthread")
    set(plugin_libraries)
    set(requires "libxml-2.0 ${KIVCORE_REGEX_MODULE}")
endif()
configure_file(cmake/kivcore.pc.in ${PROJECT_BINARY_DIR}/kivcore.pc.in @ONLY)
install(
    CODE "
    get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}/\" ABSOLUTE)
    string(REGEX REPLACE \"/$\" \"\" prefix \"\${prefix}\")
    set(file \"\${prefix}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/kivcore.pc\")
    configure_file(\"${PROJECT_BINARY_DIR}/kivcore.pc.in\" \"\$ENV{DESTDIR}\${file}\" @ONLY
                   FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")"
    COMPONENT development)

# The reference is optional: cmake --build BUILD --target docs makes it.
install(
    DIRECTORY docs/
    DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT documentation
    FILES_MATCHING
    PATTERN "*.md"
    PATTERN "*.png"
    PATTERN "*.svg")
install(
    DIRECTORY ${PROJECT_BINARY_DIR}/docs/html
    DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT documentation
    OPTIONAL)
