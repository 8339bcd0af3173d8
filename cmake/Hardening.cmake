# What makes a fault of memory harder to exploit, in every build but those of the sanitizers, which
# find such faults themselves and intercept the functions that _FORTIFY_SOURCE replaces.
include(CheckPIESupported)
check_pie_supported() # with CMAKE_POSITION_INDEPENDENT_CODE, executables are linked with -pie

if(NOT CONNECTOR_SANITIZE)
    add_compile_options(-fstack-protector-strong)
    # Needs optimisation, which all of these have: Debug is -Og. Some compilers define it themselves.
    add_compile_options(
        "$<$<CONFIG:Debug,Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
