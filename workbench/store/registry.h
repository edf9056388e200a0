#pragma once

// A registry of item ids: a store's own, or a file that several stores share.

#include <string>
#include <vector>

namespace mervane {

// Failure kStoreFailure if it can't be read or written.
class Registry {
public:
    virtual ~Registry() = default;

    // Make a registry file, with no ids. Failure kStoreFailure if something is at the path,
    // kFileFailure if it can't be made; nothing is left then.
    static void create(const std::string& path);

    virtual std::vector<std::string> ids() = 0;  // sorted
    virtual bool has(const std::string& item_id) = 0;
    // An id that is there already, or isn't, is no failure.
    virtual void add(const std::string& item_id) = 0;
    virtual void remove(const std::string& item_id) = 0;
    virtual void clear() = 0;
    // False: it is switched off. The other members work all the same.
    virtual bool isReachable() = 0;
    virtual void setReachable(bool reachable) = 0;
};

}  // namespace mervane
