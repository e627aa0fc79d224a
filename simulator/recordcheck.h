#pragma once

#include <string>

namespace simulator
{

/// Proves a record file of the simulated board whole and returns what it holds. Throws
/// std::runtime_error with the first fault and its offset. Unless `isStrict`, the first and the
/// last frame may be cut: a buffer that went round begins anywhere, a brutal stop ends anywhere.
std::string checkRecord(const std::string& path, bool isStrict);

} // namespace simulator
