#pragma once

#include "contract/common/Export.h"

/// What a loader reads from the built file by `dlsym` before it uses any class of the plug-in:
/// zero-terminated character arrays, so the address of the symbol is the address of the text.
extern "C" {
/// The version, "major.minor.patch".
CONNECTOR_API extern const char libqxconnectorhttpimpl_version[];
/// The day of the build, "YYYY-MM-DD" in UTC.
CONNECTOR_API extern const char libqxconnectorhttpimpl_build_date[];
/// The plug-in's path relative to the directory of plug-ins.
CONNECTOR_API extern const char libqxconnectorhttpimpl_relative_path[];
}
