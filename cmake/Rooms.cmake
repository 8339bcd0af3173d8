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
