#pragma once

/// Marks a class or function that users of the shared libraries may link. Everything else keeps
/// the hidden visibility that the libraries are compiled with.
#define CONNECTOR_API __attribute__((visibility("default")))
