# connector_add_room(name SOURCES ... LIBS ... PRIVATE_LIBS ...)
#
# A room is a static library connector_<name>, built position independent because the plug-in takes
# it whole. LIBS are the rooms and libraries that its headers need, PRIVATE_LIBS those that only its
# sources need. A room that has no sources yet is an interface library.
function(connector_add_room name)
    cmake_parse_arguments(PARSE_ARGV 1 ROOM "" "" "SOURCES;LIBS;PRIVATE_LIBS")
    if(ROOM_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "connector_add_room(${name}): unknown ${ROOM_UNPARSED_ARGUMENTS}")
    endif()
    set(target connector_${name})
    if(ROOM_SOURCES)
        add_library(${target} STATIC ${ROOM_SOURCES})
        target_link_libraries(${target}
            PUBLIC ${ROOM_LIBS}
            PRIVATE connector_options ${ROOM_PRIVATE_LIBS})
    else()
        add_library(${target} INTERFACE)
        target_link_libraries(${target} INTERFACE ${ROOM_LIBS} ${ROOM_PRIVATE_LIBS})
    endif()
endfunction()
