#include "ffdc/Packer.h"

const char* const kPacker = "zip"; // from the search path
