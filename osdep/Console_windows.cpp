#include "osdep/VXAOSDep.h"

#include <conio.h>

namespace NORXVXA20 {

int VXAOSDep::GetCharWithNoEcho()
{
    return ::_getch();
}

} // namespace NORXVXA20
