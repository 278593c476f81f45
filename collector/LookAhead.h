#pragma once

#include <cstdint>
#include <string>

// What can be known before anything is started. Both texts are empty when all is well.
struct Finding {
    std::string refusal; // the collection cannot work
    std::string warning; // it may not
};

// Creates directory, with its parents, and tries whether files can be written there.
Finding PrepareDirectory(const std::string& directory);

// Judges the room on the directory's disk, in bytes. How much will come is not known beforehand.
Finding JudgeRoom(std::uintmax_t available, const std::string& directory);
