#pragma once

// Imports into a store in memory: a refused one changes nothing, an accepted one leaves a sound
// store.

#include <functional>
#include <istream>
#include <sstream>
#include <string>

#include "tests/fuzz/fuzz.h"
#include "workbench/workbench.h"

namespace fuzz {

class MemoryStore {
public:
    MemoryStore() : store_(mervane_workbench()->openStore(":memory:")) {
        session_ = mervane_workbench()->openSession(store_, {});
    }
    ~MemoryStore() { mervane_workbench()->closeStore(store_); }
    MemoryStore(const MemoryStore&) = delete;

    mervane::Workbench* operator->() const {
        mervane_workbench()->selectSession(session_);
        return mervane_workbench();
    }
    [[nodiscard]] std::string exported() const {
        std::ostringstream out;
        (*this)->exportWorld(out);
        return out.str();
    }
    [[nodiscard]] bool isSound() const {
        for (const auto& finding : (*this)->check(store_, false))
            if (finding.error)
                return false;
        return true;
    }

private:
    mervane::Workbench::StoreId store_;
    mervane::Workbench::SessionId session_;
};

// A store that is there before the import.
class Imports {
public:
    explicit Imports(std::function<void(const MemoryStore&)> prepare)
        : prepare_(std::move(prepare)) {
        renew();
    }
    // The import of a text: an empty text, or the refusal.
    using Import = std::function<void(const MemoryStore&, std::istream&)>;
    // True: it was accepted. `accepted` then looks at the store.
    void run(const std::string& text, const Import& import,
             const std::function<void(const MemoryStore&)>& accepted) {
        std::istringstream in(text);
        try {
            import(*store_, in);
        } catch (const mervane::Failure& failure) {
            require(*failure.what() != '\0', "a refusal says why");
            require(store_->exported() == before_, "a refused import leaves the store as it was");
            return;
        }
        require(store_->isSound(), "an accepted import leaves a sound store");
        accepted(*store_);
        renew();
    }

private:
    void renew() {
        store_.reset();
        store_ = std::make_unique<MemoryStore>();
        prepare_(*store_);
        before_ = store_->exported();
    }

    std::function<void(const MemoryStore&)> prepare_;
    std::unique_ptr<MemoryStore> store_;
    std::string before_;
};

}  // namespace fuzz
