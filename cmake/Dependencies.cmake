# Debian's packages (scripts/install-deps.sh installs them); nothing is downloaded here.
find_package(OpenSSL 3.0 REQUIRED)
find_package(Poco 1.11 REQUIRED COMPONENTS Foundation Util Net Crypto NetSSL JSON)
find_package(Boost 1.74 REQUIRED COMPONENTS log thread regex)
find_package(CLI11 QUIET)
find_package(GTest QUIET)
find_package(benchmark QUIET)

if(CONNECTOR_HOST AND NOT TARGET CLI11::CLI11)
    find_path(CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)
    add_library(CLI11::CLI11 INTERFACE IMPORTED)
    target_include_directories(CLI11::CLI11 SYSTEM INTERFACE "${CLI11_INCLUDE_DIR}")
endif()
