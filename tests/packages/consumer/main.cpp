// What a caller does with an installed library: reads a document, makes a folder, and meets the
// assertion handler, which works only when the package passed its definition on.
#include "InventoryReader.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TAssertionFailure.h"

#include <boost/shared_ptr.hpp>

#include <iostream>
#include <string>

int main(int, char** arguments)
{
    InventoryReader reader;
    if (reader.Read("<inventory><part name=\"fan\" slot=\"7\">spins</part></inventory>"))
        std::cout << reader.Parts().at(0).name << " " << reader.Parts().at(0).note << "\n";
    NORXVXA20::VXAOSDep::CreateDir(arguments[1]);
    std::cout << "folder " << NORXVXA20::VXAOSDep::DirExists(arguments[1]) << "\n";
    try {
        std::cout << *boost::shared_ptr<int>() << "\n";
    } catch (const NORXVXA20::TAssertionFailure& failure) {
        std::cout << "caught " << std::string(failure.what(), 25) << "\n";
    }
}
