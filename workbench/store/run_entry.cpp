#include "workbench/store/run_entry.h"

#include "workbench/store/bytes.h"

namespace mervane {

namespace {

constexpr const char* kWhat = "an entry in the record of a run";

}  // namespace

std::string encoded(const StoredEntry& entry) {
    ByteWriter out;
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
    ByteReader in(bytes, kWhat);
    entry.type = static_cast<tag_t>(in.number());
    entry.version = in.integer();
    entry.text = std::string(in.text());
    entry.values.resize(in.count());
    for (StoredValue& each : entry.values) {
        each.attribute = static_cast<tag_t>(in.number());
        each.before = in.values();
        each.after = in.values();
    }
    if (!in.atEnd())
        in.fail();
}

}  // namespace mervane
