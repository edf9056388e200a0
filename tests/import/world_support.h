#pragma once

// A fresh store with a session on it, for tests of imports and exports.

#include <functional>
#include <sstream>
#include <string>

#include "tests/support/files.h"
#include "tests/support/store_kind.h"
#include "workbench/workbench.h"

namespace keld_test {

class OpenStore {
public:
    explicit OpenStore(const std::string& path = "") {
        store_ = path.empty() ? openFreshStore() : mervane_workbench()->openStore(path);
        session_ = mervane_workbench()->openSession(store_, {});
    }
    ~OpenStore() { mervane_workbench()->closeStore(store_); }
    OpenStore(const OpenStore&) = delete;

    // The workbench with this store's session as the current one.
    mervane::Workbench* operator->() const {
        mervane_workbench()->selectSession(session_);
        return mervane_workbench();
    }
    mervane::Workbench::StoreId id() const { return store_; }

    mervane::ImportReport import(const std::string& text) const {
        std::istringstream in(text);
        return (*this)->importWorld(in, "w.json");
    }
    mervane::ImportReport importStep(const std::string& text,
                                     const std::string& name = "test.stp") const {
        std::istringstream in(text);
        return (*this)->importStep(in, name);
    }
    std::string exported() const {
        std::ostringstream out;
        (*this)->exportWorld(out);
        return out.str();
    }
    std::string text(const std::string& object, const std::string& attribute) const {
        return text((*this)->resolve(object), attribute);
    }
    std::string text(tag_t object, const std::string& attribute) const {
        const mervane::Values values = (*this)->get(object, attribute);
        return values.empty() ? "(null)" : std::get<std::string>(values.at(0));
    }

private:
    mervane::Workbench::StoreId store_ = 0;
    mervane::Workbench::SessionId session_ = 0;
};

// The message of the failure that a body ends with.
inline std::string failureOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const mervane::Failure& failure) {
        return failure.what();
    }
    return "no failure";
}

}  // namespace keld_test
