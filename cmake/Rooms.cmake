# connector_add_room(name SOURCES ... LIBS ... PRIVATE_LIBS ...)
#
# A room is a static library connector_<name>, built position independent because the plug-in takes
# it whole. LIBS are the rooms and libraries that its headers need, PRIVATE_LIBS those that only its
# sources need.
function(connector_add_room name)
    cmake_parse_arguments(PARSE_ARGV 1 ROOM "" "" "SOURCES;LIBS;PRIVATE_LIBS")
    if(ROOM_UNPARSED_ARGUMENTS OR NOT ROOM_SOURCES)
        message(FATAL_ERROR "connector_add_room(${name}): bad arguments")
    endif()
    add_library(connector_${name} STATIC ${ROOM_SOURCES})
    target_link_libraries(connector_${name}
        PUBLIC ${ROOM_LIBS}
        PRIVATE connector_options ${ROOM_PRIVATE_LIBS})
endfunction()

# connector_set_library_version(target): what a shared library is to its users. Its file has the
# version of the project, its SONAME the major version, within which the interface is kept. The
# unversioned name is a link, for those who load the library by name.
function(connector_set_library_version target)
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC
        "$<BUILD_INTERFACE:${CONNECTOR_PUBLIC_INCLUDE_DIR}>"
        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
endfunction()
