#pragma once

// The services that clients call: what each reads, gives and changes. This table is the only list
// of them; docs/services.md describes the same in words.

#include <string>
#include <vector>

namespace keld {

// The meaning of an argument; on the wire it has one of four kinds.
enum class Argues {
    Text,
    Status,     // name of a release status
    Type,       // name of a type
    Types,      // names of types, separated by semicolons
    Relations,  // names of relation types, likewise
    Truth,      // "true" or "false"
    Directory,
    Program,
    Number,
    Bits,
    Object,
    Item,
    Revision,
    Line,     // line of an open BOM window
    Objects,  // a list
    Lines,
};

struct ServiceArgument {
    std::string name;
    Argues as;
};

// The result slot, and the meaning of an integer in it.
enum class Slot { Int, Tag, Text };
enum class Holds {
    Returned,   // the status that is returned
    OwnStatus,  // the status of the run; the returned status is 0 then
    Zero,
    Result,  // not an integer
};

// What a service changes; this decides whether it can be rehearsed.
enum class Effects { None, Store, BackupFiles, Outside };

struct Service {
    std::string name;
    std::string function;  // name of the exported function
    std::vector<ServiceArgument> arguments;
    Slot slot;
    Holds holds;
    bool always_zero;  // whether it returns 0 in any case
    Effects effects;
};

const std::vector<Service>& services();
// Null if no service has this name.
const Service* serviceNamed(const std::string& name);

// "int", "string", "tag" or "tags"; the kinds of a service are separated by commas.
const char* wireKind(Argues argument);
std::string wireKinds(const Service& service);

}  // namespace keld
