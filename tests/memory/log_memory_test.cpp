// The functions of libkeld_basetool with each of their allocations refused in turn, the first line
// and the opening of the log included: every attempt has a process of its own, in which the log
// isn't open yet.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "platform/keld_basetool.h"
#include "tests/memory/exported.h"
#include "tests/support/files.h"
#include "tests/support/refused_memory.h"

namespace fs = std::filesystem;

namespace {

fs::path directory;

std::string path(const char* name) {
    return (directory / name).string();
}

constexpr std::size_t kRoom = 1100;

// Values for the cases, made before memory is refused.
std::string ini_file, long_text;

struct Case {
    std::string name;
    std::vector<std::string> covers;
    void (*run)(char* gave);     // writes down what the functions have given; allocates nothing
    std::string full;            // with memory
    std::set<std::string> less;  // what it may also be without
};

void show(char* gave, const char* text) {
    std::snprintf(gave, kRoom, "%s", text != nullptr ? text : "(null)");
}

void show(char* gave, int number) {
    std::snprintf(gave, kRoom, "%d", number);
}

std::vector<Case> cases() {
    return {
        {"the first error", {"KELD_ERROR"}, [](char*) { KELD_ERROR("%d", 1); }, "", {}},
        {"the first warning", {"KELD_WARNING"}, [](char*) { KELD_WARNING("%d", 1); }, "", {}},
        {"the first trace", {"KELD_TRACE"}, [](char*) { KELD_TRACE("%d", 1); }, "", {}},
        {"the first debug line", {"KELD_DEBUG"}, [](char*) { KELD_DEBUG("%d", 1); }, "", {}},
        {"the first general line",
         {"KELD_LOG", "KELD_IncTraceSpaces", "KELD_DecTraceSpaces"},
         [](char*) {
             KELD_IncTraceSpaces();
             KELD_LOG(1, 1, "%s", "a text");
             KELD_DecTraceSpaces();
         },
         "",
         {}},
        {"the first printed text",
         {"KELD_PRINTLOG"},
         [](char*) { KELD_PRINTLOG("a text"); },
         "",
         {}},
        {"the version",
         {"KELD_PRINT_VERINFO"},
         [](char*) { KELD_PRINT_VERINFO("%s", ""); },
         "",
         {}},
        {"the path",
         {"KELD_GetLogFilePath"},
         [](char* gave) { show(gave, KELD_GetLogFilePath()); },
         path("keld.log"),
         {"(null)"}},
        {"the level",
         {"KELD_GetLogLevel"},
         [](char* gave) { show(gave, KELD_GetLogLevel()); },
         "4",
         {"3"}},
        {"a level that is set",
         {"KELD_SetLogLevel"},
         [](char* gave) {
             KELD_SetLogLevel(2);
             show(gave, KELD_GetLogLevel());
         },
         "2",
         {}},
        {"the configuration directory",
         {"KELD_GetCfgPath"},
         [](char* gave) { show(gave, KELD_GetCfgPath()); },
         directory.string(),
         {"(null)"}},
        {"a text of a file",
         {"KELD_GetProfileString"},
         [](char* gave) {
             KELD_GetProfileString("Section", "key", gave, "default", ini_file.c_str());
         },
         "a value of the file that is long",
         {"default"}},
        {"a number of a file",
         {"KELD_GetProfileInt"},
         [](char* gave) {
             show(gave, KELD_GetProfileInt("Section", "number", -1, ini_file.c_str()));
         },
         "4711",
         {"-1"}},
        {"a text of the base settings",
         {"KELD_GetIniString"},
         [](char* gave) {
             show(gave, "kept");
             KELD_GetIniString("Section", "key", gave, gave);
         },
         "a value of the base settings",
         {"kept"}},
        {"a number of the base settings",
         {"KELD_GetIniInt"},
         [](char* gave) { show(gave, KELD_GetIniInt("Section", "number", -1)); },
         "12",
         {"-1"}},
        {"settings of a preference",
         {"KELD_CreateProfileFromPref"},
         [](char* gave) {
             char first[] = "key=a value of the preference, long enough";
             char second[] = "no key";
             char* values[] = {first, second};
             KELD_CreateProfileFromPref("Section", 2, values, "test", 0);
             KELD_GetIniString("Section", "key", gave, "default");
         },
         "a value of the preference, long enough",
         {"a value of the base settings", "default"}},
        {"settings that are dropped",
         {"KELD_DeletePrefProfile", "KELD_IsLocPrefCacheDisabled"},
         [](char* gave) {
             KELD_DeletePrefProfile();
             show(gave, KELD_IsLocPrefCacheDisabled() ? 1 : 0);
         },
         "1",
         {"0"}},
        {"a line that is cut",
         {"CKELD_ParamLine::CKELD_ParamLine(char const*, char)",
          "CKELD_ParamLine::GetParamString(int, char*)"},
         [](char* gave) {
             CKELD_ParamLine cut(long_text.c_str(), ';');
             (void)cut.GetParamString(0, gave);
         },
         std::string(1024, 'x'),
         {}},
        {"a name",
         {"KELD_StringToLower", "KELD_KillExtraChars", "CKELD_String::string_to_lower(char*)"},
         [](char* gave) {
             show(gave, " A/B ");
             KELD_KillExtraChars(gave);
             KELD_StringToLower(gave);
             CKELD_String::string_to_lower(gave);
         },
         "ab",
         {}},
    };
}

// What a child process tells.
struct Told {
    int asked;
    char problem[500];
};

// Run a case with the n-th allocation refused, and then without.
void runCase(const Case& one, int n, Told* told) {
    std::string problem;
    char gave[kRoom] = "";
    refused_memory::start(n);
    bool thrown = false;
    try {
        one.run(gave);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    told->asked = refused_memory::stop();
    if (thrown)
        problem = "an exception left the function";
    if (problem.empty() && gave != one.full && !one.less.contains(gave))
        problem = std::string("gave ") + gave;
    one.run(gave);
    if (gave != one.full)
        problem += std::string(" later gave ") + gave;
    KELD_ERROR("the next line\n");
    const std::string log = keld_test::readFile(path("keld.log"));
    if (!log.ends_with(" E the next line\n"))
        problem += " the log went silent";
    std::strncpy(told->problem, problem.c_str(), sizeof(told->problem) - 1);
}

class BasetoolMemory : public testing::Test {
protected:
    BasetoolMemory() {
        directory = made_;
        ::setenv("KELD_LOG_FILE", path("keld.log").c_str(), 1);
        ::setenv("KELD_LOG_LEVEL", "4", 1);
        ::setenv("KELD_LOG_MAX_MB", "1", 1);
        ::setenv("KELD_CFG_PATH", directory.c_str(), 1);
        ::setenv("KELD_DISABLE_LOCPREF_CACHE", "1 and a text that is long enough", 1);
        ini_file = path("file.ini");
        long_text = std::string(1100, 'x');
        std::ofstream(ini_file) << "[Section]\nkey=a value of the file that is long\nnumber=4711\n";
        std::ofstream(path("keld_base.ini"))
            << "[Section]\nkey=a value of the base settings\nnumber=12\n";
    }

    keld_test::Directory made_;
};

}  // namespace

TEST_F(BasetoolMemory, NoFunctionThrowsAndTheLogWorksAgainWithTheNextLine) {
    auto* told = static_cast<Told*>(
        ::mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    int refused = 0;
    for (const Case& one : cases()) {
        for (int n = 1;; ++n) {
            *told = {};
            fs::remove(path("keld.log"));
            std::fflush(stdout);  // or the child prints it, too
            const pid_t child = ::fork();
            if (child == 0) {
                runCase(one, n, told);
                ::_exit(0);
            }
            int status = -1;
            ::waitpid(child, &status, 0);
            EXPECT_EQ(0, status) << one.name << ", allocation " << n;
            EXPECT_STREQ("", told->problem) << one.name << ", allocation " << n;
            if (told->asked < n)
                break;
            ++refused;
        }
    }
    EXPECT_GT(refused, 100);
    std::cout << "basetool: " << refused << " refused allocations\n";
}

TEST_F(BasetoolMemory, EachExportedFunctionHasItsCase) {
    std::set<std::string> covered;
    for (const Case& one : cases())
        covered.insert(one.covers.begin(), one.covers.end());
    EXPECT_EQ(exportedBy("keld_basetool"), covered);
}

TEST_F(BasetoolMemory, AFunctionThatThrowsWouldBeSeen) {
    Told told{};
    runCase({"control",
             {},
             [](char* gave) { show(gave, std::string(100, 'x').c_str()); },
             std::string(100, 'x'),
             {}},
            1, &told);
    EXPECT_STREQ("an exception left the function", told.problem);
    EXPECT_EQ(1, told.asked);
}
