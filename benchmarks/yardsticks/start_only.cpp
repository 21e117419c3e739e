// The cost of deep_host -start without the library. Like any host it is a C++ program, so the C++
// library is loaded anyway.
#include <fstream>
#include <iostream>
#include <string>

#include "benchmarks/programs/Resident.h"

int main() {
    std::ifstream file("/proc/self/comm");
    std::string name;
    file >> name;
    std::cerr << "";
    bench::printResident();
    return name.empty() ? 1 : 0;
}
