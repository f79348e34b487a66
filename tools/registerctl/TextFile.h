#pragma once

#include <string>

/// Files of text, as dumps and the settings of other stores are.
namespace registerctl {

/// The content of a file, or of standard input for "-", without a byte order mark in front. Throws
/// `Failure` with `NotReadable`.
std::string readText(const std::string &path);
/// Overwrites a file. Throws `Failure` with `NotWritten`.
void writeText(const std::string &path, const std::string &text);

} // namespace registerctl
