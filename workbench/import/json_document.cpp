#include "workbench/import/json_document.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostBytesBefore = 16u << 20;  // before the first token
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 36;
constexpr std::size_t kMaxBytesOfValue = 1u << 30;
constexpr std::size_t kMaxDepth = 64;
constexpr std::size_t kFewKeys = 16;

std::string tooLarge() {
    return "expected at most " + std::to_string(kMaxBytesOfValue >> 20) + " MiB in one value";
}

}  // namespace

// The bytes of the document as the parser takes them.
class JsonInput {
public:
    JsonInput(std::istream& in, const std::string& source) : in_(in), source_(source) {}

    bool atEnd() { return next_ == block_.size() && !fill(); }
    char current() const { return block_[next_]; }
    void advance() { ++next_; }
    // What was taken so far counts no more for the limit of one value.
    void beginValue() { value_at_ = block_at_ + next_; }
    // "LINE:COLUMN" of the byte, counted from 0; one of the last few that were taken.
    std::string place(std::uint64_t byte) const;

private:
    static constexpr std::size_t kBlock = 256u << 10;
    // The parser names a byte a little before the one that it takes next.
    static constexpr std::size_t kKept = 8;

    std::istream& in_;
    const std::string& source_;
    std::string block_;
    std::size_t next_ = 0;
    std::uint64_t block_at_ = 0;  // of its first byte
    std::uint64_t value_at_ = 0;
    bool blank_ = true;
    std::uint64_t lines_ = 0, line_at_ = 0;  // line ends before the block; the last line's begin

    bool fill();
};

bool JsonInput::fill() {
    const std::size_t gone = block_.size() - std::min(block_.size(), kKept);
    for (std::size_t at = 0; (at = block_.find('\n', at)) < gone;) {
        ++lines_;
        line_at_ = block_at_ + ++at;
    }
    block_.erase(0, gone);
    block_at_ += gone;
    next_ = block_.size();
    block_.resize(next_ + kBlock);
    in_.read(block_.data() + next_, kBlock);
    block_.resize(next_ + static_cast<std::size_t>(in_.gcount()));
    if (in_.bad())
        throw Failure(kBadImport, source_ + ": the file can't be read");
    const std::uint64_t size = block_at_ + block_.size();
    blank_ = blank_ && block_.find_first_not_of(" \t\r\n", next_) == std::string::npos;
    // A stream of blanks without an end is refused long before the limit of a document.
    if (blank_ && size > kMostBytesBefore)
        throw Failure(kBadImport, source_ + ": expected a JSON document within " +
                                      std::to_string(kMostBytesBefore >> 20) +
                                      " MiB, found only white space");
    if (size > kMaxBytes)
        throw Failure(kBadImport,
                      source_ + ": expected at most " + std::to_string(kMaxBytes >> 20) + " MiB");
    // Here, too: the parser may be at a string without an end, and has it in memory.
    if (size - value_at_ > kMaxBytesOfValue + kBlock)
        throw Failure(kBadImport, source_ + ": " + tooLarge());
    return next_ < block_.size();
}

std::string JsonInput::place(std::uint64_t byte) const {
    const std::uint64_t end = std::min<std::uint64_t>(byte, block_at_ + block_.size());
    std::uint64_t line = lines_ + 1, line_at = line_at_;
    for (std::size_t at = 0;
         (at = block_.find('\n', at)) != std::string::npos && block_at_ + at < end;) {
        ++line;
        line_at = block_at_ + ++at;
    }
    return std::to_string(line) + ":" + std::to_string(end - line_at + 1);
}

namespace {

// The parser takes a pair of these.
class InputIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    explicit InputIterator(JsonInput* input) : input_(input) {}
    char operator*() const { return input_->current(); }
    InputIterator& operator++() {
        input_->advance();
        return *this;
    }
    // The parser compares with the end alone.
    bool operator==(const InputIterator&) const { return input_->atEnd(); }
    bool operator!=(const InputIterator&) const { return !input_->atEnd(); }

private:
    JsonInput* input_;
};

// The parser's text without its own number and place.
std::string parserText(const std::string& what) {
    const std::size_t place = what.find("column ");
    const std::size_t colon = what.find(": ", place == std::string::npos ? 0 : place);
    return colon == std::string::npos ? what : what.substr(colon + 2);
}

void appendSize(std::string& bytes, std::uint32_t size) {
    bytes.append(reinterpret_cast<const char*>(&size), sizeof size);
}

// The next value of the spool.
void readEntry(SpoolReader& reader, std::string& into) {
    std::uint32_t size = 0;
    reader.read(sizeof size, into);
    std::memcpy(&size, into.data(), sizeof size);
    reader.read(size, into);
}

}  // namespace

// Puts the document away from the parser's events, member by member, its lists element by element,
// and refuses what the parser would let pass.
class JsonBuilder : public nlohmann::json_sax<Json> {
public:
    JsonBuilder(JsonDocument& document, JsonInput& input) : document_(document), input_(input) {}

    bool null() override { return put(JsonKind::Null); }
    bool boolean(bool value) override { return put(value ? JsonKind::True : JsonKind::False); }
    bool number_integer(number_integer_t value) override {
        // The parser gives those below zero, and 0 for "-0".
        return putNumber(value < 0 ? JsonKind::Integer : JsonKind::Unsigned, &value);
    }
    bool number_unsigned(number_unsigned_t value) override {
        return putNumber(JsonKind::Unsigned, &value);
    }
    bool number_float(number_float_t value, const string_t&) override {
        return putNumber(JsonKind::Fraction, &value);
    }
    bool string(string_t& value) override {
        before(JsonKind::String);
        out_.kind(JsonKind::String);
        out_.text(value);
        return after();
    }
    bool binary(binary_t&) override { return false; }  // JSON has none
    bool start_object(std::size_t) override { return open(JsonKind::Object); }
    bool start_array(std::size_t) override { return open(JsonKind::Array); }
    bool end_object() override {
        if (depth_ > 1)
            sortMembers(levels_[depth_ - 1]);
        return close();
    }
    bool end_array() override { return close(); }
    bool key(string_t& key) override;
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        const std::string& source = document_.source_;
        if (!dynamic_cast<const Json::parse_error*>(&error))  // a number that no type can hold
            throw Failure(kBadImport, source + ": " + error.what());
        // The byte that the parser stopped at, counted from 1.
        throw Failure(kBadImport, source + ":" + input_.place(position == 0 ? 0 : position - 1) +
                                      ": " + parserText(error.what()));
    }

private:
    // An array or object that isn't closed.
    struct Level {
        bool array = false;
        bool kept = false;                 // it has a place in `out_`
        std::size_t place = 0;             // of its size
        std::size_t count = 0;             // of an array's elements, with the one that is read
        std::string key;                   // of an object's last member
        std::vector<std::size_t> members;  // of an object: where they begin
        bool sorted = true;
        std::unordered_set<std::string> keys;  // only of an object with many members
    };

    JsonDocument& document_;
    JsonInput& input_;
    JsonBytes out_;  // the value that is put away next
    std::vector<Level> levels_;
    std::size_t depth_ = 0;  // of the levels, which are used again
    JsonDocument::Member* member_ = nullptr;
    std::string sorting_;

    // Whether the values of the innermost level are put away one by one.
    bool inList() const { return depth_ == 2 && member_ && member_->list; }

    void before(JsonKind kind) {
        if (depth_ == 0)
            document_.kind_ = kind;
        else if (levels_[depth_ - 1].array)
            ++levels_[depth_ - 1].count;
        if (out_.bytes.size() > kMaxBytesOfValue)
            refuse(tooLarge());
    }
    // A value is complete.
    bool after() {
        if (depth_ > 1 && !inList())
            return true;
        if (member_) {
            // A list tells its elements one by one, and nothing itself.
            if (depth_ == 2)
                ++member_->count;
            if (!out_.bytes.empty())
                putAway();
        }
        out_.bytes.clear();
        return true;
    }
    void putAway() {
        sorting_.clear();
        appendSize(sorting_, static_cast<std::uint32_t>(out_.bytes.size()));
        document_.spool_.append(sorting_);
        document_.spool_.append(out_.bytes);
        // The next value has a limit of its own.
        input_.beginValue();
        // One large value doesn't hold memory for all others.
        constexpr std::size_t kMostHeld = 1u << 20;
        if (out_.bytes.capacity() > kMostHeld)
            out_.bytes = sorting_ = {};
    }
    bool put(JsonKind kind) {
        before(kind);
        out_.kind(kind);
        return after();
    }
    bool putNumber(JsonKind kind, const void* eight_bytes) {
        before(kind);
        out_.number(kind, eight_bytes);
        return after();
    }
    bool open(JsonKind kind) {
        before(kind);
        const bool array = kind == JsonKind::Array;
        if (depth_ == 1 && member_ && array)
            member_->list = true;
        // The document itself and its lists are never in memory as a whole.
        const bool kept = depth_ > 0 && !(depth_ == 1 && member_ && array);
        if (depth_ == levels_.size())
            levels_.emplace_back();
        Level& level = levels_[depth_++];
        level.array = array;
        level.kept = kept;
        level.place = kept ? out_.begin(kind) : 0;
        level.count = 0;
        level.key.clear();
        level.members.clear();
        level.sorted = true;
        level.keys.clear();
        if (depth_ > kMaxDepth)
            refuse("expected at most " + std::to_string(kMaxDepth) + " values in one another");
        return true;
    }
    bool close() {
        const Level& level = levels_[--depth_];
        if (level.kept)
            out_.end(level.place);
        return after();
    }
    std::string_view keyAt(std::size_t at) const { return JsonBytes::textAt(out_.bytes, at); }
    bool hasKey(Level& level, const std::string& key);
    void sortMembers(Level& level);

    [[noreturn]] void refuse(const std::string& text) const {
        std::string path = "$";
        for (std::size_t i = 0; i < depth_; ++i) {
            const Level& level = levels_[i];
            if (level.array && level.count > 0)
                path += "[" + std::to_string(level.count - 1) + "]";
            else if (!level.array && !level.key.empty())
                path += "." + level.key;
        }
        throw Failure(kBadImport, document_.source_ + ": " + path.substr(0, 1000) + ": " + text);
    }
};

bool JsonBuilder::key(string_t& key) {
    Level& level = levels_[depth_ - 1];
    level.key = key;
    // The parser would keep one of the values and drop the other one without a word.
    constexpr const char* kTwice = "expected each key once, found it twice";
    if (depth_ == 1) {
        const auto [at, fresh] = document_.members_.try_emplace(key);
        if (!fresh)
            refuse(kTwice);
        member_ = &at->second;
        member_->at = document_.spool_.size();
        return true;
    }
    if (hasKey(level, key))
        refuse(kTwice);
    level.sorted = level.sorted && (level.members.empty() || keyAt(level.members.back()) < key);
    level.members.push_back(out_.bytes.size());
    if (level.members.size() > kFewKeys)
        level.keys.insert(key);
    out_.text(key);
    return true;
}

bool JsonBuilder::hasKey(Level& level, const std::string& key) {
    if (level.members.size() < kFewKeys)
        return std::any_of(level.members.begin(), level.members.end(),
                           [&](std::size_t at) { return keyAt(at) == key; });
    if (level.keys.empty())
        for (const std::size_t at : level.members)
            level.keys.emplace(keyAt(at));
    return level.keys.count(key) != 0;
}

void JsonBuilder::sortMembers(Level& level) {
    if (level.sorted)
        return;
    std::vector<std::pair<std::size_t, std::size_t>> parts;  // begin and end
    for (std::size_t i = 0; i < level.members.size(); ++i)
        parts.emplace_back(level.members[i],
                           i + 1 < level.members.size() ? level.members[i + 1] : out_.bytes.size());
    std::sort(parts.begin(), parts.end(),
              [&](const auto& a, const auto& b) { return keyAt(a.first) < keyAt(b.first); });
    sorting_.clear();
    for (const auto& [begin, end] : parts)
        sorting_.append(out_.bytes, begin, end - begin);
    out_.bytes.replace(level.members.front(), std::string::npos, sorting_);
}

JsonDocument::JsonDocument(std::istream& in, const std::string& source_name)
    : source_(source_name) {
    JsonInput input(in, source_);
    JsonBuilder builder(*this, input);
    Json::sax_parse(InputIterator(&input), InputIterator(&input), &builder);
    spool_.finish();
}

void JsonDocument::fail(const std::string& text) const {
    throw Failure(kBadImport, source_ + ": $: " + text);
}

void JsonDocument::allow(std::initializer_list<std::string_view> keys) const {
    if (kind_ != JsonKind::Object)
        fail("expected an object, found " + std::string(kindName(kind_)));
    for (const auto& [key, member] : members_)
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            const std::vector<std::string> known(keys.begin(), keys.end());
            fail("unknown key \"" + key.substr(0, 200) + "\"" + nearestHint(key, known));
        }
}

std::unique_ptr<JsonTree> JsonDocument::at(std::string_view key) const {
    if (auto found = find(key))
        return found;
    fail("expected the key \"" + std::string(key) + "\", found none");
}

std::unique_ptr<JsonTree> JsonDocument::find(std::string_view key) const {
    const auto found = members_.find(key);
    if (found == members_.end())
        return nullptr;
    const Member& member = found->second;
    auto tree = std::make_unique<JsonTree>(source_, found->first);
    if (!member.list) {
        SpoolReader reader(spool_, member.at);
        readEntry(reader, tree->bytes_);
        return tree;
    }
    JsonBytes empty;
    empty.end(empty.begin(JsonKind::Array));
    tree->bytes_ = std::move(empty.bytes);
    return tree;
}

JsonList JsonDocument::list(std::string_view key) const {
    JsonList list;
    const auto found = members_.find(key);
    if (found == members_.end())
        return list;
    const Member& member = found->second;
    if (!member.list)
        find(key)->root().failExpected("an array");
    list.source_ = &source_;
    list.key_ = found->first;
    list.spool_ = &spool_;
    list.at_ = member.at;
    list.size_ = member.count;
    return list;
}

// ---- lists ----

JsonList::Iterator JsonList::begin() const {
    Iterator first;
    first.left_ = size_;
    if (size_ == 0)
        return first;
    first.reader_.emplace(*spool_, at_);
    first.tree_ = std::make_unique<JsonTree>(*source_, key_);
    first.tree_->in_list_ = true;
    first.read();
    return first;
}

void JsonList::Iterator::read() {
    tree_->place_.at = reader_->position();
    readEntry(*reader_, tree_->bytes_);
}

JsonList::Iterator& JsonList::Iterator::operator++() {
    if (--left_ > 0) {
        ++tree_->place_.index;
        read();
    }
    return *this;
}

std::unique_ptr<JsonTree> JsonList::again(const JsonPlace& place) const {
    auto tree = std::make_unique<JsonTree>(*source_, key_);
    tree->in_list_ = true;
    tree->place_ = place;
    SpoolReader reader(*spool_, place.at);
    readEntry(reader, tree->bytes_);
    return tree;
}

}  // namespace mervane
