#include "tests/kills/ledger.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace kills {

namespace {

std::string shown(std::int64_t tag) {
    return "#" + std::to_string(tag);
}

}  // namespace

void Ledger::saved(Running& worker, std::int64_t tag, const Stored& stored) {
    Known& known = known_[tag];
    known.others = known.others || !worker.own.count(tag);
    known.shared = known.others;
    if (stored.version > known.stored.version) {
        known.stored = stored;
    } else if (stored.version == known.stored.version && stored.digest != known.stored.digest) {
        contradictions_.push_back(shown(tag) + " was told of with two contents in version " +
                                  std::to_string(stored.version));
    }
    worker.saved.push_back(tag);
}

void Ledger::hear(Running& worker, const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "R") {
        worker.phase = "preparing";
    } else if (word == "B") {
        worker.phase = "running";
        worker.run_began = Clock::now();
    } else if (word == "D") {
        ++worker.runs;
        worker.phase = "between";
    } else if (word == "F") {
        worker.phase = "closing";
    } else if (word == "C") {
        worker.phase = "closed";
        worker.closed = true;
    } else if (word == "E") {
        worker.error = line.substr(2);
    } else if (word == "I") {
        worker.intent = {};
        while (words >> word) {
            const std::int64_t tag = std::atoll(word.c_str() + (word[0] == '+' || word[0] == '-'));
            if (word[0] == '+')
                worker.intent.made.insert(tag);
            else if (word[0] == '-')
                worker.intent.gone.insert(tag);
            else
                worker.intent.saves[tag] = std::atoi(word.c_str() + word.find(':') + 1);
        }
    } else if (word == "A") {
        worker.own.insert(worker.intent.made.begin(), worker.intent.made.end());
        while (words >> word) {
            ++acknowledged_;
            if (word[0] == '-') {
                known_[std::atoll(word.c_str() + 1)].gone = true;
                continue;
            }
            Stored stored;
            char colon = 0;
            std::int64_t tag = 0;
            std::istringstream(word) >> tag >> colon >> stored.version >> colon >> stored.digest;
            saved(worker, tag, stored);
        }
        worker.intent = {};
    }
}

std::string Ledger::compare(BareStore& store, std::int64_t tag, const Known& known) const {
    const Stored found = store.storedOf(tag);
    if (known.gone)
        return found.version == 0
                   ? ""
                   : "lost: " + shown(tag) + " is there, its deletion was acknowledged";
    if (found.version == 0)
        return "lost: " + shown(tag) + " isn't there, its save was acknowledged";
    if (found.version < known.stored.version)
        return "lost: " + shown(tag) + " has version " + std::to_string(found.version) + ", " +
               std::to_string(known.stored.version) + " was acknowledged";
    if (found.version > known.stored.version && !known.shared && hears_each_save_)
        return shown(tag) + " has version " + std::to_string(found.version) +
               ", which nobody told of";
    if (found.version == known.stored.version && found.digest != known.stored.digest)
        return "lost: " + shown(tag) + " has other contents than were acknowledged";
    return "";
}

std::vector<std::string> Ledger::settle(BareStore& store, Running& dead,
                                        const std::vector<std::unique_ptr<Running>>& all,
                                        const std::function<void()>& listen) {
    std::map<std::int64_t, Stored> made;
    for (const std::int64_t tag : dead.intent.made)
        made[tag] = store.storedOf(tag);
    listen();
    const auto others = [&](std::int64_t tag) {
        return known_.count(tag) || std::any_of(all.begin(), all.end(), [&](const auto& worker) {
                   return worker.get() != &dead && worker->intent.made.count(tag);
               });
    };
    std::vector<std::string> wrong = std::move(contradictions_);
    contradictions_.clear();
    const auto add = [&wrong](const std::string& text) {
        if (!text.empty())
            wrong.push_back(text);
    };
    // The transaction under way: each object shows whether it was committed.
    std::string in, out;
    const auto tell = [&](bool is_in, const std::string& what) { (is_in ? in : out) += what; };
    for (const auto& [tag, found] : made) {
        if (others(tag))
            continue;
        tell(found.version != 0, " +" + shown(tag));
        if (found.version != 0)
            known_[tag] = {found, false, false, false};
    }
    for (const std::int64_t tag : dead.intent.gone) {
        const bool is_gone = store.storedOf(tag).version == 0;
        tell(is_gone, " -" + shown(tag));
        if (is_gone)
            known_[tag].gone = true;
    }
    for (const auto& [tag, saves] : dead.intent.saves) {
        const auto at = known_.find(tag);
        if (at == known_.end() || at->second.shared)
            continue;
        const Stored found = store.storedOf(tag);
        // Some of the saves may have been taken back within the transaction.
        const std::int64_t more = found.version - at->second.stored.version;
        const bool is_in = more > 0 && more <= saves;
        tell(is_in, " " + shown(tag));
        if (is_in)
            at->second.stored = found;
    }
    if (!in.empty() && !out.empty())
        add("a transaction is there in part: with" + in + ", without" + out);
    whole_ += !in.empty() && out.empty();
    absent_ += in.empty() && !out.empty();
    if (in.empty() && !out.empty())
        absent_intents_.push_back(dead.intent);
    dead.intent = {};
    for (const std::int64_t tag : std::set<std::int64_t>(dead.saved.begin(), dead.saved.end()))
        add(compare(store, tag, known_[tag]));
    return wrong;
}

std::vector<std::string> Ledger::settleAbsent(BareStore& store) {
    std::vector<std::string> wrong;
    for (const Intent& intent : absent_intents_) {
        std::string in, out;
        std::map<std::int64_t, Known> now;
        const auto tell = [&](std::int64_t tag, bool is_in, Known known) {
            (is_in ? in : out) += " " + shown(tag);
            if (is_in)
                now[tag] = known;
        };
        for (const std::int64_t tag : intent.made)
            if (const Stored found = store.storedOf(tag); !known_.count(tag))
                tell(tag, found.version != 0, {found, false, false, false});
        for (const std::int64_t tag : intent.gone)
            if (const auto at = known_.find(tag); at != known_.end() && !at->second.gone)
                tell(tag, store.storedOf(tag).version == 0,
                     {at->second.stored, true, at->second.shared, at->second.others});
        for (const auto& [tag, saves] : intent.saves)
            if (const auto at = known_.find(tag); at != known_.end() && !at->second.shared) {
                const Stored found = store.storedOf(tag);
                const std::int64_t more = found.version - at->second.stored.version;
                tell(tag, more > 0 && more <= saves, {found, false, false, at->second.others});
            }
        if (in.empty())
            continue;
        if (!out.empty()) {
            wrong.push_back("a transaction is there in part: with" + in + ", without" + out);
            continue;
        }
        ++whole_;
        --absent_;
        for (const auto& [tag, known] : now)
            known_[tag] = known;
    }
    absent_intents_.clear();
    return wrong;
}

std::vector<std::int64_t> Ledger::wanted() const {
    std::vector<std::int64_t> tags;
    for (const auto& [tag, known] : known_)
        if (!known.gone)
            tags.push_back(tag);
    return tags;
}

std::vector<std::string> Ledger::compare(BareStore& store) const {
    std::vector<std::string> wrong;
    for (const auto& [tag, known] : known_)
        if (std::string text = compare(store, tag, known); !text.empty())
            wrong.push_back(std::move(text));
    return wrong;
}

}  // namespace kills
