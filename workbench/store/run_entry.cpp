#include "workbench/store/run_entry.h"

#include <bit>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

// Numbers of seven bits a byte, the lowest first; the high bit says that more follow.
class Writer {
public:
    void number(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7)
            bytes_.push_back(static_cast<char>(value | 0x80));
        bytes_.push_back(static_cast<char>(value));
    }
    // Small negative numbers are short, too.
    void integer(std::int64_t value) {
        number((static_cast<std::uint64_t>(value) << 1) ^ (value < 0 ? ~std::uint64_t{0} : 0));
    }
    void text(std::string_view value) {
        number(value.size());
        bytes_ += value;
    }
    void value(const Value& value) {
        number(value.index());
        if (const auto* as_text = std::get_if<std::string>(&value))
            text(*as_text);
        else if (const auto* as_integer = std::get_if<std::int64_t>(&value))
            integer(*as_integer);
        else if (const auto* real = std::get_if<double>(&value))
            fixed(std::bit_cast<std::uint64_t>(*real));
        else if (const auto* logical_value = std::get_if<bool>(&value))
            number(*logical_value ? 1 : 0);
        else if (const auto* date = std::get_if<Date>(&value)) {
            integer(date->date.year);
            for (const std::uint8_t part : {date->date.month, date->date.day, date->date.hour,
                                            date->date.minute, date->date.second})
                number(part);
        } else {
            number(std::get<Reference>(value).tag);
        }
    }
    void values(const Values& values) {
        number(values.size());
        for (const Value& each : values)
            value(each);
    }
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;

    void fixed(std::uint64_t value) {
        for (int i = 0; i < 8; ++i)
            bytes_.push_back(static_cast<char>(value >> (8 * i)));
    }
};

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    std::uint64_t number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const unsigned char byte = one();
            value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
            if (byte < 0x80)
                return value;
        }
        fail();
    }
    std::int64_t integer() {
        const std::uint64_t value = number();
        return static_cast<std::int64_t>((value >> 1) ^ (value & 1 ? ~std::uint64_t{0} : 0));
    }
    std::string text() {
        const std::uint64_t size = number();
        if (size > bytes_.size())
            fail();
        std::string value(bytes_.substr(0, size));
        bytes_.remove_prefix(size);
        return value;
    }
    Value value() {
        switch (number()) {
            case 0:
                return text();
            case 1:
                return integer();
            case 2:
                return std::bit_cast<double>(fixed());
            case 3:
                return number() != 0;
            case 4: {
                Date date;
                date.date.year = static_cast<std::int16_t>(integer());
                for (std::uint8_t* part : {&date.date.month, &date.date.day, &date.date.hour,
                                           &date.date.minute, &date.date.second})
                    *part = static_cast<std::uint8_t>(number());
                return date;
            }
            case 5:
                return Reference{static_cast<tag_t>(number())};
            default:
                fail();
        }
    }
    Values values() {
        Values all;
        for (std::uint64_t left = count(); left > 0; --left)
            all.push_back(value());
        return all;
    }
    // A number of things that take at least a byte each: a damaged one must not take all memory.
    std::uint64_t count() {
        const std::uint64_t value = number();
        if (value > bytes_.size())
            fail();
        return value;
    }
    bool atEnd() const { return bytes_.empty(); }
    [[noreturn]] static void fail() {
        throw Failure(kStoreFailure, "an entry in the record of a run is damaged");
    }

private:
    std::string_view bytes_;

    unsigned char one() {
        if (bytes_.empty())
            fail();
        const auto byte = static_cast<unsigned char>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte;
    }
    std::uint64_t fixed() {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < 8; ++i)
            value |= static_cast<std::uint64_t>(one()) << (8 * i);
        return value;
    }
};

}  // namespace

std::string encoded(const StoredEntry& entry) {
    Writer out;
    out.number(entry.type);
    out.integer(entry.version);
    out.text(entry.text);
    out.number(entry.values.size());
    for (const StoredValue& each : entry.values) {
        out.number(each.attribute);
        out.values(each.before);
        out.values(each.after);
    }
    return out.take();
}

void decode(std::string_view bytes, StoredEntry& entry) {
    Reader in(bytes);
    entry.type = static_cast<tag_t>(in.number());
    entry.version = in.integer();
    entry.text = in.text();
    entry.values.resize(in.count());
    for (StoredValue& each : entry.values) {
        each.attribute = static_cast<tag_t>(in.number());
        each.before = in.values();
        each.after = in.values();
    }
    if (!in.atEnd())
        Reader::fail();
}

}  // namespace mervane
