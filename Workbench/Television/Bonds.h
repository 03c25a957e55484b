/** What the set's Bluetooth adapter knows. */
#pragma once

#include <string>
#include <vector>

namespace Television {

struct Bond {
    std::string address;
    bool isPaired = false;
    /** As a record has it; empty where none does. */
    std::string name;
};

/** In the order of their addresses; of the devices of BlueZ, those that a record is of. */
std::vector<Bond> ReadBonds();

}  // namespace Television
