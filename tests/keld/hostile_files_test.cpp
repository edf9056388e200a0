// Files that never end, block the reader, are too long, or are in another file's place.

#include <sys/resource.h>
#include <sys/stat.h>

#include <ctime>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

namespace {

// A limit for this process and those that it starts.
class Limit {
public:
    Limit(int what, rlim_t value) : what_(what) {
        getrlimit(what, &before_);
        rlimit limit = before_;
        limit.rlim_cur = value;
        setrlimit(what, &limit);
    }
    ~Limit() { setrlimit(what_, &before_); }
    Limit(const Limit&) = delete;

private:
    int what_;
    rlimit before_{};
};

double cpuSecondsOfChildren() {
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e6;
}

}  // namespace

class HostileFiles : public ProgramWithStore {};

TEST_F(HostileFiles, ALogOnAFullDeviceIsToldAndNotReadBack) {
    environment()["KELD_LOG_FILE"] = "/dev/full";
    const double before = cpuSecondsOfChildren();
    const Result result = done({"call", "KELD_SrvCall", "i:0", "i:0", "s:text"});
    EXPECT_THAT(result.err, HasSubstr("the log /dev/full can't be written"));
    const Result tail = keld({"log", "tail"});
    EXPECT_EQ(tail.exit_code, 1);
    EXPECT_THAT(tail.err, HasSubstr("no file that can be read back"));
    EXPECT_LT(cpuSecondsOfChildren() - before, 10);
}

TEST_F(HostileFiles, APipeInTheDatabasesPlaceIsRefused) {
    for (const char* name :
         {"keld.db-journal", "keld.db-wal", "keld.db-shm", "keld.db-locks-journal", "keld.db"}) {
        fs::remove(path(name));
        ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0) << name;
        const Result result = keld({"find", "*"});
        EXPECT_EQ(result.exit_code, 1) << name;
        EXPECT_THAT(result.err, HasSubstr(path(name).string() + " is no regular file")) << name;
        if (std::string(name) != "keld.db") {
            fs::remove(path(name));
            done({"find", "*"});
        }
    }
}

TEST_F(HostileFiles, APipeInThePlaceOfTheLockTablesIsReplaced) {
    for (const char* name : {"keld.db-locks", "keld.db-locks-held"}) {
        fs::remove(path(name));
        ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0);
        done({"find", "*"});
        EXPECT_TRUE(fs::is_regular_file(path(name))) << name;
    }
}

TEST_F(HostileFiles, APipeInTheJournalsPlaceIsRefused) {
    ASSERT_EQ(mkfifo(path("calls").c_str(), 0600), 0);
    for (const std::string& place : {path("calls").string(), std::string("/dev/full")}) {
        environment()["MERVANE_JOURNAL"] = place;
        const Result result = done({"show", "000100"});
        EXPECT_THAT(result.err, HasSubstr(place + " can't be opened"));
    }
}

TEST_F(HostileFiles, APipeInTheConfigurationsPlaceIsNoConfiguration) {
    ASSERT_EQ(mkfifo(path("keld_statusmanager.ini").c_str(), 0600), 0);
    environment()["KELD_CFG_PATH"] = directory().string();
    const Result result = keld({"doctor"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("is no regular file"));
}

TEST_F(HostileFiles, ADirectoryInTheConfigurationsPlaceIsToldByEveryVerbThatReadsIt) {
    fs::create_directory(path("keld_statusmanager.ini"));
    environment()["KELD_CFG_PATH"] = directory().string();
    EXPECT_THAT(keld({"doctor"}).out, HasSubstr("is a directory, not a file"));
    for (const std::vector<std::string>& verb : std::vector<std::vector<std::string>>{
             {"explain"}, {"graph"}, {"coverage", "--all"}, {"diff", ".", ".", "--all"}}) {
        std::vector<std::string> words{"config"};
        words.insert(words.end(), verb.begin(), verb.end());
        const Result result = keld(words);
        EXPECT_EQ(result.exit_code, 1) << verb.front();
        EXPECT_THAT(result.err, HasSubstr("is a directory, not a file")) << verb.front();
    }
}

TEST_F(HostileFiles, AConfigurationOfAHundredMegabytesEndsInSecondsWithTheLine) {
    {
        std::ofstream out(path("keld_statusmanager.ini"), std::ios::binary);
        const std::string some(1 << 20, 'x');
        out << "[SelectWSO]\n";
        for (int i = 0; i < 50; ++i)
            out << some << "\n";
        std::string sections;
        for (int i = 0; i < 100'000; ++i)
            sections += "[S]\nk=1\n";
        while (out.tellp() < 100'000'000)
            out << sections;
    }
    environment()["KELD_CFG_PATH"] = directory().string();
    const double before = cpuSecondsOfChildren();
    const Result checked = keld({"doctor"});
    EXPECT_EQ(checked.exit_code, 1);
    EXPECT_THAT(checked.out, HasSubstr("keld_statusmanager.ini:4: the file has more than 4 MB"));
    const Result explained = keld({"config", "explain"});
    EXPECT_EQ(explained.exit_code, 1);
    EXPECT_THAT(explained.err, HasSubstr("line 4: the file has more than 4 MB"));
    EXPECT_LT(cpuSecondsOfChildren() - before, 20);
}

TEST_F(HostileFiles, AConfigurationWithoutSectionsIsTold) {
    writeFile(path("keld_statusmanager.ini"), "; nothing\nItemRevision=1\n");
    environment()["KELD_CFG_PATH"] = directory().string();
    const Result checked = keld({"doctor"});
    EXPECT_EQ(checked.exit_code, 1);
    EXPECT_THAT(checked.out, HasSubstr("keld_statusmanager.ini:2: the line 'ItemRevision=1' is "
                                       "ignored: it is before any section"));
    EXPECT_THAT(checked.out, HasSubstr("there is no section SelectWSO: no run can start"));
    EXPECT_THAT(keld({"config", "explain", "Frozen"}).err,
                HasSubstr("no start type leads to the status 'Frozen'"));
}

TEST_F(HostileFiles, ALimitOfTheFileSizeIsAFailureWithAText) {
    const std::string text(400'000, 'x');
    writeFile(path("more.json"), R"({ "world": 1, "items": [{ "id": "000300", "revisions": [
        { "id": "A", "datasets": [{ "type": "Text", "name": "notes", "files": [
          { "reference": "Text", "name": "notes.txt", "text": ")" +
                                     text + R"(" }] }]}]}]})");
    {
        const Limit limit(RLIMIT_FSIZE, 300'000);
        const Result result = keld({"load", path("more.json").string()});
        EXPECT_EQ(result.exit_code, 1) << "and not the end by a signal";
        EXPECT_THAT(result.err, HasSubstr("keld: "));
    }
    EXPECT_EQ(keld({"show", "000300"}).exit_code, 1) << "nothing of it is there";
    done({"check"});
    done({"load", path("more.json").string()});
}

TEST_F(HostileFiles, AConfigurationOfManySectionsIsCheckedInReasonableTime) {
    // Reached and unreached ones, a walk as deep as the file, second mentions, statuses.
    constexpr int kSections = 10'000;
    std::string ini = "[SelectWSO]\nItemRevision=1\n";
    for (int i = 0; i < kSections; ++i) {
        const std::string n = std::to_string(i);
        ini += "[S" + n + "_ItemRevision]\nPrevReleaseStatus=S" + n + "\n";
        ini += "[Deep_Rel" + n + ".T]\nChangeForward=Rel.Rel" + std::to_string(i + 1) + ".T\n";
    }
    ini += "[Deep_ItemRevision]\nChangeForward=Rel.Rel0.T\n";
    for (int i = 0; i < kSections; ++i)
        ini += "[Nothing" + std::to_string(i % 7'000) + "]\nkey=1\nkey=2\n";
    writeFile(path("keld_statusmanager.ini"), ini);
    const double before = cpuSecondsOfChildren();
    const Result result = keld({"doctor", "--ini", path("keld_statusmanager.ini").string()});
    EXPECT_THAT(result.out, HasSubstr("more findings"));
    EXPECT_LT(cpuSecondsOfChildren() - before, 20) << "square in the number of sections";
}
