#include "workbench/store/postgres/server_volume.h"

#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/store/postgres/copy_lock.h"

namespace mervane {

namespace {

constexpr std::size_t kPieceBytes = 1 << 20;
constexpr const char* kTakenOut = ".removed";

// Whoever gets the lock of those who copy alone knows that nobody does, and removes what was kept
// for all. Both statements are in one transaction, which has it.
void dropTakenOut(ServerConnection& side, std::int64_t key) {
    side.later(
        "DELETE FROM file_piece p USING file f WHERE f.tag=p.tag AND f.removed AND "
        "pg_try_advisory_xact_lock($1::bigint::int, 2)",
        Parameters().add(key));
    side.ask("DELETE FROM file f WHERE f.removed AND pg_try_advisory_xact_lock($1::bigint::int, 2)",
             Parameters().add(key));
}

}  // namespace

std::unique_ptr<Volume::Hold> ServerVolume::hold() const {
    return std::make_unique<CopyLock>(side_, key_, [this] { dropTakenOut(*side_, key_); });
}

FileFacts ServerVolume::take(tag_t tag, const std::function<void(const Receiver&)>& fill) {
    ToldContents contents;
    std::string piece;
    std::int64_t pieces = 0;
    const auto store = [&] {
        side_->ask("INSERT INTO file_piece VALUES($1::bigint, $2::bigint, $3::bytea)",
                   Parameters().add(std::int64_t{tag}).add(pieces++).add(std::string_view(piece)));
        piece.clear();
    };
    side_->ask("BEGIN");
    try {
        drop(tag);
        side_->later("INSERT INTO file(tag) VALUES($1::bigint)",
                     Parameters().add(std::int64_t{tag}));
        fill([&](const char* bytes, std::size_t size) {
            contents.add(bytes, size);
            while (size > 0) {
                const std::size_t some = std::min(size, kPieceBytes - piece.size());
                piece.append(bytes, some);
                bytes += some;
                size -= some;
                if (piece.size() == kPieceBytes)
                    store();
            }
        });
        if (!piece.empty())
            store();
        side_->ask("COMMIT");
    } catch (...) {
        side_->rollBack();
        throw;
    }
    return contents.facts();
}

void ServerVolume::drop(tag_t tag) const {
    side_->later("DELETE FROM file_piece WHERE tag=$1::bigint",
                 Parameters().add(std::int64_t{tag}));
    side_->ask("DELETE FROM file WHERE tag=$1::bigint", Parameters().add(std::int64_t{tag}));
}

void ServerVolume::remove(tag_t tag) noexcept {
    try {
        // A copy that is being made still finds it.
        side_->later("UPDATE file SET removed=true WHERE tag=$1::bigint",
                     Parameters().add(std::int64_t{tag}));
        dropTakenOut(*side_, key_);
    } catch (...) {
        // The file stays as one that no object owns.
    }
}

void ServerVolume::tell(const StoredFile& file, const Receiver& receiver) const {
    const Parameters tag = Parameters().add(std::int64_t{file.tag});
    if (side_->ask("SELECT 1 FROM file WHERE tag=$1::bigint", tag).rows() == 0)
        throw Damage(file, "is missing in the volume");
    ToldContents contents;
    for (std::int64_t piece = 0;; ++piece) {
        const Answer row =
            side_->ask("SELECT bytes FROM file_piece WHERE tag=$1::bigint AND piece=$2::bigint",
                       Parameters().add(std::int64_t{file.tag}).add(piece));
        if (row.rows() == 0)
            break;
        const std::string_view bytes = row.bytes(0, 0);
        contents.add(bytes.data(), bytes.size());
        receiver(bytes.data(), bytes.size());
    }
    contents.compare(file);
}

bool ServerVolume::exists(tag_t tag) const {
    return side_
               ->ask("SELECT 1 FROM file WHERE tag=$1::bigint AND NOT removed",
                     Parameters().add(std::int64_t{tag}))
               .rows() != 0;
}

std::vector<tag_t> ServerVolume::tags() const {
    std::vector<tag_t> all;
    const Answer rows = side_->ask("SELECT tag FROM file WHERE NOT removed ORDER BY tag");
    for (int i = 0; i < rows.rows(); ++i)
        all.push_back(static_cast<tag_t>(rows.integer(i, 0)));
    return all;
}

std::vector<std::string> ServerVolume::leftOvers() const {
    std::vector<std::string> names;
    const Answer rows = side_->ask("SELECT tag FROM file WHERE removed ORDER BY tag");
    for (int i = 0; i < rows.rows(); ++i)
        names.push_back(std::to_string(rows.integer(i, 0)) + kTakenOut);
    return names;
}

bool ServerVolume::removeLeftOver(const std::string& name) {
    const Parameters tag = Parameters().add(std::int64_t{std::strtol(name.c_str(), nullptr, 10)});
    side_->later("UPDATE file SET removed=true WHERE tag=$1::bigint", tag);
    dropTakenOut(*side_, key_);
    return side_->ask("SELECT 1 FROM file WHERE tag=$1::bigint", tag).rows() == 0;
}

}  // namespace mervane
