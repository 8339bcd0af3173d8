#include <cstdio>

#include "plugin/PluginInfo.h"

int main()
{
    std::printf("%s\n", libqxconnectorhttpimpl_version);
    return 0;
}
