#pragma once

/// The window's title: product, version, build date and build identifier.
extern const char ver[];
