// service_differences PROJECT: where the places that tell of services differ from the description
// that this program is built with, a line each. Exit code 1 if one does.

#include "tests/docs/service_differences.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: service_differences PROJECT\n";
        return 2;
    }
    try {
        const std::vector<std::string> all = docs::serviceDifferences(keld::services(), argv[1]);
        for (const std::string& difference : all)
            std::cout << difference << '\n';
        return all.empty() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 2;
    }
}
