// A store on the server whose files are in a directory.

#include <gmock/gmock.h>
#include <libpq-fe.h>

#include <filesystem>
#include <set>

#include "tests/support/places.h"
#include "tests/support/run_program.h"
#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;
using keld_test::Ended;

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// A connection of somebody who is no store.
class Beside {
public:
    Beside() : connection_(PQconnectdb(keld_test::serverAddress().c_str())) {}
    ~Beside() { PQfinish(connection_); }
    Beside(const Beside&) = delete;
    // Returns: the first value, or the failure.
    std::string ask(const std::string& sql) {
        PGresult* result = PQexec(connection_, sql.c_str());
        const bool done =
            PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
        const std::string value = !done                   ? PQerrorMessage(connection_)
                                  : PQntuples(result) > 0 ? PQgetvalue(result, 0, 0)
                                                          : "";
        PQclear(result);
        return value;
    }

private:
    PGconn* connection_;
};

}  // namespace

class ServerDirectory : public ::testing::Test {
protected:
    void SetUp() override {
        writeFile(directory_.at("a.txt"), "contents");
        bench().createStore(address_, volume_);
        open();
    }
    void TearDown() override {
        ::unsetenv("MERVANE_VOLUME");
        ERR_clear_errors();
        close();
    }
    void open() {
        store_ = bench().openStore(address_);
        bench().openSession(store_, {});
    }
    void close() {
        if (store_ != 0)
            bench().closeStore(std::exchange(store_, 0));
    }
    std::vector<CheckFinding> check(bool repair = false) { return bench().check(store_, repair); }
    // A dataset with a file. Returns: the tag of the file.
    tag_t add(tag_t* dataset = nullptr) {
        const tag_t made = bench().createDataset("Text", "notes");
        if (dataset)
            *dataset = made;
        return bench().addFile(made, "Text", directory_.at("a.txt"), "a.txt");
    }
    std::string fileOf(tag_t file) const { return volume_ + "/" + std::to_string(file); }
    // The names in the directory, but for the mark.
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(volume_))
            found.insert(entry.path().filename().string());
        EXPECT_EQ(found.erase(".volume"), 1u);
        return found;
    }
    std::string asked(const std::string& sql) {
        return Beside().ask("SET search_path = " + schema_ + "; " + sql);
    }
    // The text by which the store isn't opened.
    std::string refusal() const {
        std::string text;
        EXPECT_EQ(statusOf([&] { bench().openStore(address_); }, &text), kFileFailure);
        return text;
    }
    Ended keld(std::vector<std::string> arguments,
               const std::map<std::string, std::string>& environment = {},
               bool unprivileged = false) const {
        return keld_test::runProgram(
            KELD, arguments,
            {directory_.path(),
             {"KELD_CFG_PATH", "KELD_LOG_FILE", "MERVANE_VOLUME"},
             [&] {
                 std::map<std::string, std::string> all{{"MERVANE_STORE", address_}};
                 all.insert(environment.begin(), environment.end());
                 return all;
             }(),
             unprivileged});
    }

    const Directory directory_;
    const std::string volume_ = directory_.at("files");
    const std::string address_ = keld_test::freshServerStore();
    const std::string schema_ = address_.substr(address_.find("schema=") + 7);
    Workbench::StoreId store_ = 0;
};

TEST_F(ServerDirectory, HasTheFilesAndTheDatabaseNone) {
    tag_t dataset = NULLTAG;
    const tag_t file = add(&dataset);
    EXPECT_EQ(readFile(fileOf(file)), "contents");
    EXPECT_EQ(asked("SELECT (SELECT count(*) FROM file) + (SELECT count(*) FROM file_piece)"), "0");
    EXPECT_THAT(check(), IsEmpty());
    ASSERT_EQ(OBJ_delete(dataset), 0);
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(check(), IsEmpty());
}

TEST_F(ServerDirectory, ARemovedFileStaysForAnUndoUntilTheRecordIsPruned) {
    tag_t dataset = NULLTAG;
    const tag_t file = add(&dataset);
    bench().beginRun({RunWay::Whole, "s", "", "", ""});
    ASSERT_EQ(OBJ_delete(dataset), 0);
    bench().endRun({}, true, nullptr);
    EXPECT_THAT(names(), testing::ElementsAre(std::to_string(file)));
    EXPECT_THAT(check(true), IsEmpty());
    EXPECT_EQ(bench().pruneRuns("2999-01-01"), 1);
    EXPECT_THAT(names(), IsEmpty());
}

// By the version of the tables, which they compare.
TEST_F(ServerDirectory, IsRefusedByProgramsThatDontKnowIt) {
    EXPECT_EQ(asked("SELECT value FROM meta WHERE name = 'schema_version'"), "2");
    const std::string plain = keld_test::freshServerStore();
    bench().createStore(plain);
    EXPECT_EQ(Beside().ask("SELECT value FROM " + plain.substr(plain.find("schema=") + 7) +
                           ".meta WHERE name = 'schema_version'"),
              "1");
}

// ---- its place ----

TEST_F(ServerDirectory, IsFoundByEachHostWhereItHasIt) {
    tag_t first = NULLTAG;
    add(&first);
    fs::create_directory_symlink(volume_, directory_.at("mounted"));
    const std::map<std::string, std::string> other{{"MERVANE_VOLUME", directory_.at("mounted")}};
    EXPECT_EQ(keld({"cat", "#" + std::to_string(first)}, other).out, "contents");
    const Ended made = keld({"load", KELD_SOURCE_DIR "/tests/keld/world.json"}, other);
    ASSERT_EQ(made.exit_code, 0) << made.err;
    EXPECT_EQ(keld({"cat", "000100/A:drawing"}).out, "sheet 1\n");
    EXPECT_GT(names().size(), 1u);
    EXPECT_THAT(check(), IsEmpty());
    // Only there is it now.
    close();
    fs::rename(volume_, directory_.at("moved"));
    EXPECT_EQ(keld({"check"}).exit_code, 1);
    const Ended moved = keld({"check"}, {{"MERVANE_VOLUME", directory_.at("moved")}});
    EXPECT_THAT(moved.out, HasSubstr("sound")) << moved.err;
    EXPECT_THAT(keld({"doctor"}, {{"MERVANE_VOLUME", directory_.at("moved")}}).out,
                HasSubstr(directory_.at("moved")));
}

TEST_F(ServerDirectory, ThatIsntItIsRefusedWithWhatWasExpected) {
    add();
    close();
    const std::string mark = readFile(volume_ + "/.volume").substr(0, 16);
    const auto expected = [&](const std::string& what) {
        return AllOf(HasSubstr(volume_ + what), HasSubstr("says " + mark),
                     HasSubstr("mount it there"), HasSubstr("MERVANE_VOLUME"));
    };
    const std::string away = directory_.at("away");
    fs::rename(volume_, away);
    EXPECT_THAT(refusal(), expected(" is no directory on this host"));
    EXPECT_FALSE(fs::exists(volume_)) << "it was made at a second place";
    writeFile(volume_, "a file");
    EXPECT_THAT(refusal(), expected(" is no directory on this host"));
    fs::remove(volume_);
    fs::create_directory(volume_);
    EXPECT_THAT(refusal(), expected(" has no file .volume"));
    const std::string other = keld_test::freshServerStore();
    bench().createStore(other, directory_.at("other"));
    fs::copy(directory_.at("other") + "/.volume", volume_);
    EXPECT_THAT(refusal(), expected(" has the mark of another store"));
    writeFile(volume_ + "/.volume", "");
    EXPECT_THAT(refusal(), expected(" has the mark of another store"));
    ::setenv("MERVANE_VOLUME", directory_.at("other").c_str(), 1);
    EXPECT_THAT(refusal(),
                HasSubstr("MERVANE_VOLUME names " + directory_.at("other") + ", which has the"));
    ::setenv("MERVANE_VOLUME", away.c_str(), 1);
    open();
    EXPECT_THAT(check(), IsEmpty());
}

TEST_F(ServerDirectory, ThatMayNotBeWrittenIsForReadersOnly) {
    tag_t dataset = NULLTAG;
    add(&dataset);
    const std::string role = "reader_" + schema_;
    Beside beside;
    ASSERT_EQ(
        beside.ask("CREATE ROLE " + role + " LOGIN; GRANT USAGE ON SCHEMA " + schema_ + " TO " +
                   role + "; GRANT SELECT ON ALL TABLES IN SCHEMA " + schema_ + " TO " + role),
        "");
    fs::permissions(directory_.path(), fs::perms(0755));
    fs::permissions(volume_, fs::perms(0555));
    const std::map<std::string, std::string> log{{"KELD_LOG_FILE", "/dev/null"}};
    const Ended refused = keld({"check"}, log, true);
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr(volume_ + " can't be written by this process"));
    std::string reader = address_;
    reader.replace(reader.find("keld@"), 4, role);
    const Ended read = keld({"cat", "#" + std::to_string(dataset), "--store", reader}, log, true);
    EXPECT_EQ(read.out, "contents") << read.err;
    fs::permissions(volume_, fs::perms(0755));
    EXPECT_EQ(beside.ask("DROP OWNED BY " + role + "; DROP ROLE " + role), "");
}

TEST_F(ServerDirectory, ThatGoesAwayMeanwhileGetsNoFilesAndHasNoneMissing) {
    add();
    fs::rename(volume_, directory_.at("away"));
    for (const bool is_there : {false, true}) {
        // What is there where nothing is mounted any more.
        if (is_there)
            fs::create_directory(volume_);
        std::string text;
        EXPECT_EQ(statusOf([&] { add(); }, &text), kFileFailure);
        EXPECT_THAT(text, HasSubstr(volume_));
        EXPECT_EQ(statusOf([&] { check(true); }, &text), kFileFailure);
        EXPECT_EQ(fs::exists(volume_), is_there);
    }
    EXPECT_TRUE(fs::is_empty(volume_));
    fs::remove(volume_);
    fs::rename(directory_.at("away"), volume_);
    EXPECT_THAT(errorsIn(check()), IsEmpty());
    add();
    EXPECT_THAT(errorsIn(check()), IsEmpty());
}

// ---- making ----

TEST_F(ServerDirectory, OfANewStoreIsNewOrEmpty) {
    const std::string other = keld_test::freshServerStore();
    const auto making = [&](const std::string& volume) {
        std::string text;
        EXPECT_EQ(statusOf([&] { bench().createStore(other, volume); }, &text), kStoreFailure);
        return text;
    };
    EXPECT_THAT(making(volume_), HasSubstr("There is something in " + volume_));
    EXPECT_THAT(making(directory_.at("a.txt")), HasSubstr("There is something in"));
    EXPECT_EQ(readFile(directory_.at("a.txt")), "contents");
    EXPECT_THAT(names(), IsEmpty());
    // And it isn't left if the store isn't made.
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().createStore(address_, directory_.at("none")); }, &text),
              kStoreFailure);
    EXPECT_FALSE(fs::exists(directory_.at("none")));
    fs::create_directory(directory_.at("empty"));
    EXPECT_NE(statusOf([&] { bench().createStore(address_, directory_.at("empty")); }), 0);
    EXPECT_TRUE(fs::is_empty(directory_.at("empty")));
    bench().createStore(other, directory_.at("empty") + "/");
    bench().closeStore(bench().openStore(other));
}

TEST_F(ServerDirectory, IsntForAStoreInAFile) {
    const Ended refused = keld({"init", "--store", "plant.db", "--volume", "second"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("plant.db can't have its files in second"),
                                   HasSubstr("plant.db.volume")));
    EXPECT_FALSE(fs::exists(directory_ / "plant.db"));
    EXPECT_FALSE(fs::exists(directory_ / "second"));
    EXPECT_THAT(keld({"init", "--volume", ""}).err, HasSubstr("a directory is needed"));
}

// ---- copies ----

TEST_F(ServerDirectory, IsCopiedFromAndIntoAndBothExportTheSame) {
    close();
    const std::string world = KELD_SOURCE_DIR "/samples/gearbox.json";
    ASSERT_EQ(keld({"load", world}).exit_code, 0);
    ASSERT_EQ(keld({"delete", "000110/A:000110-A", "--cut"}).exit_code, 0);
    const std::string file = directory_.at("copy.db"), back = keld_test::freshServerStore();
    const auto done = [&](const std::vector<std::string>& arguments) {
        const Ended ended = keld(arguments);
        EXPECT_EQ(ended.exit_code, 0) << arguments.front() << ended.err;
        return ended.out;
    };
    done({"copy-store", address_, file});
    // This host's place of the other directory isn't that of the new one.
    const Ended into =
        keld({"copy-store", file, back, "--volume", "second"}, {{"MERVANE_VOLUME", volume_}});
    EXPECT_EQ(into.exit_code, 0) << into.err;
    EXPECT_EQ(
        Beside().ask("SELECT count(*) FROM " + back.substr(back.find("schema=") + 7) + ".file"),
        "0");
    const std::string before = done({"export"});
    EXPECT_THAT(before, HasSubstr("000110"));
    for (const std::string& copy : {file, back}) {
        EXPECT_EQ(done({"export", "--store", copy}), before);
        EXPECT_EQ(done({"check", "--store", copy}), "the store is sound\n");
    }
    // Both have the same identity, but neither takes the directory of the other.
    const Ended other = keld({"check", "--store", back}, {{"MERVANE_VOLUME", volume_}});
    EXPECT_EQ(other.exit_code, 1);
    EXPECT_THAT(other.err, HasSubstr("has the mark of another store"));
    // The file that the run removed is in the copy, too.
    done({"runs", "undo", "2", "--store", back});
    EXPECT_EQ(done({"check", "--store", back}), "the store is sound\n");
    const Ended backup = keld({"backup", "b.db"});
    EXPECT_EQ(backup.exit_code, 1);
    EXPECT_THAT(backup.err, AllOf(HasSubstr("pg_dump"), HasSubstr("then a copy of " + volume_)));
}

TEST_F(ServerDirectory, KeepsWhatIsRemovedWhileAnotherHostCopies) {
    tag_t dataset = NULLTAG;
    const tag_t file = add(&dataset);
    const std::string kept = std::to_string(file) + ".removed";
    {
        // As the page about stores on a server has it.
        Beside copies;
        EXPECT_EQ(copies.ask("SELECT pg_advisory_lock_shared(('x' || substr(value, 1, 8))::bit(32)"
                             "::int & 2147483647, 2) FROM " +
                             schema_ + ".meta WHERE name = 'store_id'"),
                  "");
        ASSERT_EQ(OBJ_delete(dataset), 0);
        EXPECT_THAT(names(), testing::ElementsAre(kept));
        EXPECT_TRUE(mentions(check(true), "; kept for a copy"));
        EXPECT_THAT(names(), testing::ElementsAre(kept));
    }
    // A copy that ends takes it away, unless there is another one.
    bench().copyStore(store_, directory_.at("copy.db"));
    EXPECT_THAT(names(), IsEmpty());
}

// ---- processes that are killed ----

TEST_F(ServerDirectory, HasNothingOfAKilledProcessThatTheCheckDoesntFind) {
    close();
    for (int round = 0; round < 4; ++round) {
        keld_test::Child writer(WRITER, {"files", address_, directory_.at("a.txt")});
        for (int i = 0; i <= round; ++i)
            EXPECT_NE(writer.line(), "");
        // As if it was killed while it wrote.
        writeFile(volume_ + "/new-0123456789abcdef", "cont");
        open();
        EXPECT_TRUE(mentions(check(true),
                             "file new-0123456789abcdef of the volume belongs to no "
                             "object; kept, since other sessions are at work"));
        writer.kill();
        EXPECT_THAT(errorsIn(check()), IsEmpty());
        // The server notices the end of the process soon, not at once.
        for (int i = 0; i < 500 && mentions(check(true), "; kept"); ++i)
            ::usleep(10000);
        EXPECT_THAT(check(), IsEmpty());
        std::set<std::string> owned;
        for (const Found& each : bench().find({"*", "VaneFile", "", 0}))
            owned.insert(std::to_string(each.tag));
        EXPECT_THAT(owned, Not(IsEmpty()));
        EXPECT_EQ(names(), owned);
        close();
    }
}
