#include "workbench/store/sqlite/text_index.h"

#include <sqlite3.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "workbench/model/searched.h"
#include "workbench/model/status.h"
#include "workbench/store/sqlite/sqlite.h"
#include "workbench/utf8.h"

namespace mervane {

namespace {

// text_attribute: what is indexed; a text has the row tag*64+position, so that rows grow with tags.
// text_pending: texts that changed since they were indexed, with what the index has of them.
// text_indexed: what the index has. The triggers know tables alone: who writes needs no FTS5.
// A text with a NUL is indexed as a mark, U+0001 three times: tokenizers differ in what they make
// of a NUL.
constexpr const char* kTextTables = R"(
CREATE TABLE text_attribute(attr INTEGER PRIMARY KEY, position INTEGER NOT NULL);
CREATE TABLE text_pending(tag INTEGER NOT NULL, attr INTEGER NOT NULL, old,
                          PRIMARY KEY(tag, attr)) WITHOUT ROWID;
CREATE VIEW text_indexed AS
SELECT v.tag*64+a.position AS key,
       CASE WHEN instr(v.v, char(0)) THEN char(1, 1, 1) ELSE v.v END AS text
FROM text v CROSS JOIN text_attribute a ON a.attr=v.attr
WHERE v.tag>0 AND NOT EXISTS
      (SELECT 1 FROM text_pending p WHERE p.tag=v.tag AND p.attr=v.attr)
UNION ALL
SELECT p.tag*64+a.position, CASE WHEN instr(p.old, char(0)) THEN char(1, 1, 1) ELSE p.old END
FROM text_pending p CROSS JOIN text_attribute a ON a.attr=p.attr WHERE p.old IS NOT NULL;
CREATE VIRTUAL TABLE text_index USING fts5(text, content='text_indexed', content_rowid='key',
    tokenize='trigram case_sensitive 1', detail=none, columnsize=0);
)";

// The triggers note the old text before the change. The store takes an old text out before it puts
// the new one in. An insertion of what is there already is noted, too: a note too many does no
// harm, the text is indexed anew. make() puts the attributes in the place of COVERED, which saves a
// look-up for each text written.
constexpr const char* kTextTriggers = R"(
CREATE TRIGGER text_inserted BEFORE INSERT ON text
WHEN CASE NEW.attr COVERED END
BEGIN
    INSERT INTO text_pending SELECT NEW.tag, NEW.attr,
        (SELECT v FROM text WHERE attr=NEW.attr AND v=NEW.v AND tag=NEW.tag)
    WHERE NOT EXISTS (SELECT 1 FROM text_pending WHERE tag=NEW.tag AND attr=NEW.attr);
END;
CREATE TRIGGER text_updated BEFORE UPDATE ON text
BEGIN
    INSERT INTO text_pending SELECT OLD.tag, OLD.attr, OLD.v
    WHERE CASE OLD.attr COVERED END AND NOT EXISTS
        (SELECT 1 FROM text_pending WHERE tag=OLD.tag AND attr=OLD.attr);
    INSERT INTO text_pending SELECT NEW.tag, NEW.attr,
        (SELECT v FROM text WHERE attr=NEW.attr AND v=NEW.v AND tag=NEW.tag)
    WHERE CASE NEW.attr COVERED END AND NOT EXISTS
        (SELECT 1 FROM text_pending WHERE tag=NEW.tag AND attr=NEW.attr);
END;
CREATE TRIGGER text_deleted BEFORE DELETE ON text
WHEN CASE OLD.attr COVERED END
BEGIN
    INSERT INTO text_pending SELECT OLD.tag, OLD.attr, OLD.v
    WHERE NOT EXISTS (SELECT 1 FROM text_pending WHERE tag=OLD.tag AND attr=OLD.attr);
END;
)";

constexpr std::int64_t kPartsOfIndex = 7;  // tables, view and triggers

// If more texts wait, they are indexed: each search compares those that wait.
constexpr std::int64_t kFewWaiting = 1000;
// A scan compares a text in a twentieth of the time that a candidate takes, and begins at once.
constexpr std::int64_t kFewCandidates = 4096;
constexpr std::int64_t kFewRows = 8 * kFewCandidates;  // of all attributes
constexpr std::int64_t kFewInRange = 1024;
constexpr std::size_t kMostTrigrams = 16;

// False: the text is no UTF-8, or has a NUL.
bool takeApart(std::string_view text, std::vector<std::string_view>& characters) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (character.number <= 0)
            return false;
        characters.push_back(text.substr(0, character.length));
        text.remove_prefix(character.length);
    }
    return true;
}

std::string inQuotes(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

// The query for the index: a text that matches has all of these trigrams, or is marked. Empty: the
// index can't help, or only the beginning is known, which the index of values finds better.
std::string candidatesOf(std::string_view pattern) {
    std::vector<std::string> trigrams;
    bool behind_the_beginning = false;
    for (std::size_t at = 0, end = 0; at <= pattern.size(); at = end + 1) {
        end = std::min(pattern.find_first_of("*?", at), pattern.size());
        std::vector<std::string_view> characters;
        if (!takeApart(pattern.substr(at, end - at), characters))
            return "";
        // In a text that is no UTF-8 more bytes may follow here, which the tokenizer takes for a
        // part of the character.
        if (end < pattern.size() && !characters.empty() && characters.back().size() > 1)
            characters.pop_back();
        for (std::size_t i = 2; i < characters.size(); ++i) {
            trigrams.push_back(inQuotes(std::string(characters[i - 2]) +
                                        std::string(characters[i - 1]) +
                                        std::string(characters[i])));
            behind_the_beginning = behind_the_beginning || at > 0;
        }
    }
    if (!behind_the_beginning)
        return "";
    std::sort(trigrams.begin(), trigrams.end());
    trigrams.erase(std::unique(trigrams.begin(), trigrams.end()), trigrams.end());
    const std::size_t most = std::min(trigrams.size(), kMostTrigrams);
    std::string all;
    for (std::size_t i = 0; i < most; ++i)
        all += (i ? " AND " : "(") + trigrams[i * trigrams.size() / most];
    return all + ") OR \"\1\1\1\"";
}

}  // namespace

bool TextIndex::isThere() {
    return connection_
        .statement("SELECT 1 FROM sqlite_schema WHERE type='table' AND name='text_index'")
        .step();
}

bool TextIndex::isNamedBy(std::string_view finding) {
    return finding.find("FTS5 table main.text_index") != std::string_view::npos;
}

bool TextIndex::isPossible() {
    return connection_.statement("SELECT 1 FROM pragma_module_list WHERE name='fts5'").step();
}

void TextIndex::needPossible() {
    if (!isPossible())
        throw Failure(kStoreFailure,
                      "The SQLite library of this program has no FTS5, which the index of texts "
                      "needs");
}

void TextIndex::make(const Model& model) {
    needPossible();
    std::vector<tag_t> attributes;
    for (const SearchedText& each : kSearchedTexts)
        attributes.push_back(
            model.findAttribute(*model.findClass(each.cls), each.attribute)->handle);
    std::sort(attributes.begin(), attributes.end());
    Transaction transaction(connection_);
    dropTables();
    connection_.execute(kTextTables);
    for (std::size_t i = 0; i < attributes.size(); ++i)
        connection_.statement("INSERT INTO text_attribute VALUES(?, ?)")
            .bind(std::int64_t{attributes[i]})
            .bind(static_cast<std::int64_t>(i))
            .run();
    // In the order of their rows, which makes the index quickly.
    connection_.execute(
        "INSERT INTO text_index(rowid, text) SELECT key, text FROM text_indexed ORDER BY key");
    std::string covered, triggers = kTextTriggers;
    for (const tag_t attribute : attributes)
        covered += "WHEN " + std::to_string(attribute) + " THEN 1 ";
    constexpr std::string_view kMark = "COVERED";
    for (std::size_t at = 0; (at = triggers.find(kMark, at)) != std::string::npos;)
        triggers.replace(at, kMark.size(), covered);
    connection_.execute(triggers.c_str());
    transaction.commit();
}

void TextIndex::drop() {
    if (!isThere())
        return;
    needPossible();
    Transaction transaction(connection_);
    dropTables();
    transaction.commit();
}

void TextIndex::dropTables() {
    connection_.execute(
        "DROP TRIGGER IF EXISTS text_inserted; DROP TRIGGER IF EXISTS text_updated; "
        "DROP TRIGGER IF EXISTS text_deleted; DROP TABLE IF EXISTS text_index; "
        "DROP VIEW IF EXISTS text_indexed; DROP TABLE IF EXISTS text_pending; "
        "DROP TABLE IF EXISTS text_attribute");
}

TextIndexState TextIndex::state() {
    Statement row = connection_.statement(
        "SELECT (SELECT count(*) FROM text_attribute a CROSS JOIN text v ON v.attr=a.attr), "
        "(SELECT count(*) FROM text_pending), "
        "(SELECT sum(length(block)) FROM text_index_data)");
    TextIndexState state;
    if (row.step()) {
        state.texts = row.integer(0);
        state.waiting = row.integer(1);
        state.bytes = row.integer(2);
    }
    return state;
}

bool TextIndex::agrees() {
    {
        // Without one of its triggers the index misses changes.
        Statement parts = connection_.statement(
            "SELECT count(*) FROM sqlite_schema WHERE name IN ('text_attribute', 'text_pending', "
            "'text_indexed', 'text_index', 'text_inserted', 'text_updated', 'text_deleted')");
        if (!parts.step() || parts.integer(0) != kPartsOfIndex)
            return false;
    }
    needPossible();
    // Rank 1: compare the index with the texts, too, not only within itself.
    try {
        connection_
            .statement("INSERT INTO text_index(text_index, rank) VALUES('integrity-check', 1)")
            .run();
        return true;
    } catch (const Failure&) {
        if (hasFailed())
            return false;
        throw;
    }
}

bool TextIndex::hasFailed() const {
    return sqlite3_extended_errcode(connection_.raw()) == SQLITE_CORRUPT_VTAB;
}

void TextIndex::takeUp() {
    if (!isThere())
        return;
    {
        Statement waiting =
            connection_.statement("SELECT count(*) FROM (SELECT 1 FROM text_pending LIMIT ?)");
        waiting.bind(kFewWaiting + 1);
        if (!waiting.step() || waiting.integer(0) <= kFewWaiting)
            return;
    }
    if (!isPossible())
        return;
    // A part of its own: if the index is damaged, the run is stored without it.
    Transaction part(connection_);
    try {
        takeUpAll();
    } catch (const Failure&) {
        if (!hasFailed())
            throw;
        return;
    }
    part.commit();
}

void TextIndex::takeUpAll() {
    // The index has no copy of a text: it must be told the old one to take it out.
    connection_
        .statement(
            "INSERT INTO text_index(text_index, rowid, text) "
            "SELECT 'delete', p.tag*64+a.position, "
            "CASE WHEN instr(p.old, char(0)) THEN char(1, 1, 1) ELSE p.old END "
            "FROM text_pending p CROSS JOIN text_attribute a ON a.attr=p.attr "
            "WHERE p.old IS NOT NULL ORDER BY p.tag, p.attr")
        .run();
    // The new text comes from the object: the table of texts can't be searched by the object alone.
    connection_
        .statement(
            "INSERT INTO text_index(rowid, text) SELECT key, "
            "CASE WHEN instr(v, char(0)) THEN char(1, 1, 1) ELSE v END FROM "
            "(SELECT p.tag*64+a.position AS key, text_in(o.tag, o.data, p.attr) AS v "
            "FROM text_pending p CROSS JOIN text_attribute a ON a.attr=p.attr "
            "CROSS JOIN object o ON o.tag=p.tag) WHERE v IS NOT NULL ORDER BY key")
        .run();
    connection_.statement("DELETE FROM text_pending").run();
}

bool TextIndex::search(tag_t attribute, const std::string& pattern, const std::string& from,
                       const std::string& end, const std::function<void(tag_t, tag_t)>& each) {
    const std::string candidates = candidatesOf(pattern);
    if (candidates.empty() || !isThere() || !isPossible())
        return false;
    const std::int64_t attr{attribute};
    std::int64_t position = 0;
    {
        Statement row = connection_.statement("SELECT position FROM text_attribute WHERE attr=?");
        row.bind(attr);
        if (!row.step())
            return false;
        position = row.integer(0);
    }
    // Few texts with the pattern's beginning are compared more quickly than candidates.
    if (!end.empty()) {
        Statement few = connection_.statement(
            "SELECT count(*) FROM "
            "(SELECT 1 FROM text WHERE attr=? AND v>=? AND v<? LIMIT ?)");
        few.bind(attr).bind(std::string_view(from)).bind(std::string_view(end));
        few.bind(kFewInRange + 1);
        if (few.step() && few.integer(0) <= kFewInRange)
            return false;
    }
    {
        // Many candidates or waiting texts take longer than comparing all.
        Statement few = connection_.statement(
            "SELECT count(*), coalesce(sum(key&63=?), 0), "
            "(SELECT count(*) FROM (SELECT 1 FROM text_pending LIMIT ?)) FROM "
            "(SELECT rowid AS key FROM text_index WHERE text_index MATCH ? LIMIT ?)");
        few.bind(position).bind(kFewCandidates + 1);
        few.bind(std::string_view(candidates)).bind(kFewRows + 1);
        if (few.step() && (few.integer(0) > kFewRows || few.integer(1) > kFewCandidates ||
                           few.integer(2) > kFewCandidates))
            return false;
    }
    // Each candidate is compared with its stored text, since the index may have an older one; texts
    // that wait are compared themselves.
    Statement rows = connection_.statement(
        "SELECT o.tag, o.type FROM text_index t CROSS JOIN object o ON o.tag=t.rowid>>6 "
        "WHERE t.text_index MATCH ?1 AND t.rowid&63=?2 "
        "AND matches(?4, text_in(o.tag, o.data, ?3)) "
        "UNION ALL SELECT o.tag, o.type FROM text_pending p CROSS JOIN object o ON o.tag=p.tag "
        "WHERE p.attr=?3 AND matches(?4, text_in(o.tag, o.data, ?3))");
    rows.bind(std::string_view(candidates)).bind(position).bind(attr);
    rows.bind(std::string_view(pattern));
    while (rows.step())
        each(static_cast<tag_t>(rows.integer(0)), static_cast<tag_t>(rows.integer(1)));
    return true;
}

}  // namespace mervane
