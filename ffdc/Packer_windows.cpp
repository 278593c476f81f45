#include "ffdc/Packer.h"

const char* const kPacker = ".\\infozip.exe"; // of the current directory
