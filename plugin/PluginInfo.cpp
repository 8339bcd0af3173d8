#include "plugin/PluginInfo.h"

const char libqxconnectorhttpimpl_version[] = CONNECTOR_VERSION;
const char libqxconnectorhttpimpl_build_date[] = CONNECTOR_BUILD_DATE;
const char libqxconnectorhttpimpl_relative_path[] = "libqxconnectorhttpimpl.so";
