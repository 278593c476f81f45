#pragma once

// The zip program as it stands in a command line.
extern const char* const kPacker;
