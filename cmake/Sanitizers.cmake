set(CONNECTOR_SANITIZE "" CACHE STRING "Sanitizers: empty, address (with undefined) or thread")
set_property(CACHE CONNECTOR_SANITIZE PROPERTY STRINGS "" address thread)

if(CONNECTOR_SANITIZE STREQUAL "address")
    set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(CONNECTOR_SANITIZE STREQUAL "thread")
    set(sanitizer_flags -fsanitize=thread)
    # ThreadSanitizer of g++ 12 does not start when the kernel spreads addresses over more than 28
    # bits (vm.mmap_rnd_bits), so its programs run without that, where the machine lets them.
    execute_process(COMMAND setarch --addr-no-randomize true
        RESULT_VARIABLE setarch_result OUTPUT_QUIET ERROR_QUIET)
    if(setarch_result EQUAL 0)
        set(CMAKE_CROSSCOMPILING_EMULATOR setarch --addr-no-randomize)
    endif()
elseif(CONNECTOR_SANITIZE)
    message(FATAL_ERROR "CONNECTOR_SANITIZE must be empty, address or thread")
endif()

if(CONNECTOR_SANITIZE)
    add_compile_options(${sanitizer_flags} -fno-omit-frame-pointer)
    add_link_options(${sanitizer_flags})
endif()
