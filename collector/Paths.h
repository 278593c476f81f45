#pragma once

#include <filesystem>
#include <string>

// Paths as the library has them, 8-bit texts in the system's own encoding, and as the standard
// library has them, which on Windows takes every text for UTF-8.
std::filesystem::path PathOf(const std::string& text);
std::string TextOf(const std::filesystem::path& path);
