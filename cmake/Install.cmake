# What `cmake --install` installs beside the public headers: the libraries, the host, and the files by
# which find_package and pkg-config find them. The package files hold no absolute path, so that the
# installed tree may be moved.
include(CMakePackageConfigHelpers)

foreach(copy IN LISTS CONNECTOR_PUBLIC_COPIES)
    cmake_path(GET copy PARENT_PATH folder)
    install(FILES "${CONNECTOR_PUBLIC_INCLUDE_DIR}/${copy}"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}")
endforeach()
install(TARGETS connector_contract qxconnectorhttpimpl
    EXPORT connector
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(TARGET connector-host)
    install(TARGETS connector-host RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/connector")
install(EXPORT connector
    NAMESPACE connector:: FILE connectorTargets.cmake DESTINATION "${package_dir}")
configure_package_config_file(
    "${CMAKE_CURRENT_LIST_DIR}/connectorConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/package/connectorConfig.cmake"
    INSTALL_DESTINATION "${package_dir}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    "${PROJECT_BINARY_DIR}/package/connectorConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/package/connectorConfig.cmake"
    "${PROJECT_BINARY_DIR}/package/connectorConfigVersion.cmake"
    DESTINATION "${package_dir}")

set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH pkgconfig_to_prefix "/prefix/${pkgconfig_dir}" "/prefix")
foreach(name connector-contract connector-http)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in"
        "${PROJECT_BINARY_DIR}/package/${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/package/${name}.pc" DESTINATION "${pkgconfig_dir}")
endforeach()
