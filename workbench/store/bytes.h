#pragma once

// Values as bytes, the same on all machines: numbers of seven bits a byte, the lowest first, whose
// high bit says that more follow; texts after their length.

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "workbench/model/status.h"
#include "workbench/values.h"
#include "workbench/workbench.h"

namespace mervane {

class ByteWriter {
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
    // Without its kind.
    void bare(const Value& value) {
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
    void value(const Value& value) {
        number(value.index());
        bare(value);
    }
    void values(const Values& values) {
        number(values.size());
        for (const Value& each : values)
            value(each);
    }
    void raw(std::string_view bytes) { bytes_ += bytes; }
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;

    void fixed(std::uint64_t value) {
        for (int i = 0; i < 8; ++i)
            bytes_.push_back(static_cast<char>(value >> (8 * i)));
    }
};

class ByteReader {
public:
    // `what`, of this number unless it is 0, is damaged if the bytes aren't those of a ByteWriter:
    // Failure kStoreFailure of each member.
    ByteReader(std::string_view bytes, const char* what, std::uint64_t number = 0)
        : bytes_(bytes), what_(what), what_number_(number) {}

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
    // Good as long as the bytes.
    std::string_view text() {
        const std::uint64_t size = number();
        if (size > bytes_.size())
            fail();
        const std::string_view value = bytes_.substr(0, size);
        bytes_.remove_prefix(size);
        return value;
    }
    Kind kind() {
        const std::uint64_t value = number();
        if (value > static_cast<std::uint64_t>(Kind::Reference))
            fail();
        return static_cast<Kind>(value);
    }
    Value value() { return bare(kind()); }
    // One that was written without its kind.
    Value bare(Kind kind) {
        switch (kind) {
            case Kind::String:
                return std::string(text());
            case Kind::Int:
                return integer();
            case Kind::Double:
                return std::bit_cast<double>(fixed());
            case Kind::Logical:
                return number() != 0;
            case Kind::Date: {
                Date date;
                date.date.year = static_cast<std::int16_t>(integer());
                for (std::uint8_t* part : {&date.date.month, &date.date.day, &date.date.hour,
                                           &date.date.minute, &date.date.second})
                    *part = static_cast<std::uint8_t>(number());
                return date;
            }
            case Kind::Reference:
                return Reference{static_cast<tag_t>(number())};
        }
        fail();
    }
    // The same without making it.
    void skip(Kind kind) {
        switch (kind) {
            case Kind::String:
                text();
                return;
            case Kind::Double:
                fixed();
                return;
            case Kind::Date:
                for (int parts = 6; parts > 0; --parts)
                    number();
                return;
            case Kind::Int:
            case Kind::Logical:
            case Kind::Reference:
                number();
                return;
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
    const char* position() const { return bytes_.data(); }
    [[noreturn]] void fail() const {
        throw Failure(
            kStoreFailure,
            what_ + (what_number_ ? std::to_string(what_number_) : std::string()) + " is damaged");
    }

private:
    std::string_view bytes_;
    const char* what_;
    std::uint64_t what_number_;

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

}  // namespace mervane
