#pragma once

// The services that clients call: what each reads, gives and changes. This is the one description
// of them: tests/docs/service_list_test.cpp compares it with each place that tells of services too,
// and docs/add-a-service.md names these places.

#include <string>
#include <vector>

namespace keld {

// What an argument stands for. On the wire it is one of four kinds.
enum class Argues {
    Text,
    Status,     // name of a release status
    Type,       // name of a type
    Types,      // names of types with semicolons between them
    Relations,  // names of relation types, likewise
    Truth,      // "true" or "false"
    Directory,
    Program,
    Number,
    Bits,
    Object,
    Item,
    Revision,
    Line,     // of an open BOM window
    Objects,  // a list
    Lines,
};

struct ServiceArgument {
    std::string name;
    Argues as;
};

// The result slot, and what an integer in it is.
enum class Slot { Int, Tag, Text };
enum class Holds {
    Returned,   // the status that is returned
    OwnStatus,  // the status of the run, while 0 is returned
    Zero,
    Result,  // not an integer
};

// What a service changes, which decides whether it can be rehearsed.
enum class Effects { None, Store, BackupFiles, Outside };

struct Service {
    std::string name;
    std::string function;  // as the library exports it
    std::vector<ServiceArgument> arguments;
    Slot slot;
    Holds holds;
    bool always_zero;  // what it returns
    Effects effects;
};

const std::vector<Service>& services();
// Null if there is none of this name.
const Service* serviceNamed(const std::string& name);

// "int", "string", "tag" or "tags"; those of a service with commas between them.
const char* wireKind(Argues argument);
std::string wireKinds(const Service& service);

}  // namespace keld
