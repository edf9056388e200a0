// keld_se.dll over a platform of the test's own: a mervane.dll in this program's directory. Nothing
// but the module's name connects the two.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/types.h"
#include "tests/support/files.h"
#include "tests/windows/own_mervane.h"

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::wstring fileOf(HMODULE module) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(module, path, MAX_PATH);
    return path;
}

class OwnPlatform : public testing::Test {
protected:
    OwnPlatform() {
        SetEnvironmentVariableW(L"KELD_LOG_FILE", log_.c_str());
        library_ = LoadLibraryW(L"keld_se.dll");
        platform_ = GetModuleHandleW(L"mervane.dll");
        support_ = GetModuleHandleW(L"keld_qsktool.dll");
    }
    void SetUp() override {
        ASSERT_NE(library_, nullptr) << GetLastError();
        ASSERT_NE(platform_, nullptr);
        ASSERT_NE(support_, nullptr);
        own<int>("own_answer", 0);
        own<const char*>("own_calls");
    }
    template <typename Result, typename... Arguments>
    static Result call(HMODULE module, const char* name, Arguments... arguments) {
        const FARPROC found = GetProcAddress(module, name);
        if (found == nullptr) {
            ADD_FAILURE() << name << " isn't exported";
            return Result();
        }
        return reinterpret_cast<Result (*)(Arguments...)>(reinterpret_cast<void*>(found))(
            arguments...);
    }
    template <typename Result, typename... Arguments>
    Result own(const char* name, Arguments... arguments) {
        return call<Result>(platform_, name, arguments...);
    }
    std::string calls() { return own<const char*>("own_calls"); }
    void send(const char* text) { call<void>(platform_, "own_send_text", text); }

    const fs::path log_ = fs::temp_directory_path() / "keld_own_platform_test.log";
    HMODULE library_ = nullptr, platform_ = nullptr, support_ = nullptr;
};

}  // namespace

TEST_F(OwnPlatform, IsTheModuleBesideTheProgram) {
    EXPECT_EQ(fs::path(fileOf(platform_)).parent_path(), fs::path(fileOf(nullptr)).parent_path());
    EXPECT_EQ(GetProcAddress(platform_, "mervane_workbench"), nullptr);
}

TEST_F(OwnPlatform, IsNotCalledByLoadingTheLibrary) {
    ASSERT_TRUE(FreeLibrary(library_));
    ASSERT_EQ(GetModuleHandleW(L"keld_se.dll"), nullptr);
    // The platform stays, so that it can be asked.
    const HMODULE kept = LoadLibraryW(L"mervane.dll");
    platform_ = kept;
    calls();
    std::error_code ignored;
    fs::remove(log_, ignored);
    library_ = LoadLibraryW(L"keld_se.dll");
    ASSERT_NE(library_, nullptr);
    EXPECT_EQ(calls(), "");
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(OwnPlatform, ServesAServiceWithItsArgumentsAndTakesItsText) {
    SetEnvironmentVariableW(L"KELD_TEST_OWN", L"Gr\u00F6\u00DFe");
    const int blocks = own<int>("own_blocks");
    send("KELD_TEST_OWN");
    char* text = nullptr;
    EXPECT_EQ(call<int>(library_, "KELD_SrvCallGetEnv", &text), 0);
    EXPECT_STREQ(text, "Gr\xC3\xB6\xC3\x9F\x65");
    // The result's and the argument's, which the service keeps.
    EXPECT_EQ(own<int>("own_blocks"), blocks + 2);
    EXPECT_EQ(calls(), "SVCARG_get_string_argument ");
}

TEST_F(OwnPlatform, SeesItsFailureReturned) {
    own<int>("own_answer", 4711);
    char kept[] = "kept";
    char* text = kept;
    EXPECT_EQ(call<int>(library_, "KELD_SrvCallGetEnv", &text), 4711);
    EXPECT_EQ(text, kept);
    EXPECT_THAT(calls(), StartsWith("SVCARG_get_string_argument "));
    int result = 99;
    EXPECT_EQ(call<int>(library_, "KELD_CopyAttr", &result), 4711);
    EXPECT_EQ(result, 4711);
    EXPECT_THAT(calls(), StartsWith("SVCARG_get_tag_argument "));
    EXPECT_EQ(call<int>(library_, "KELD_DeleteDeluxe", &result), 4711);
    EXPECT_THAT(calls(), StartsWith("SVCARG_get_tag_array_argument "));
}

TEST_F(OwnPlatform, MayLackTheFunctionsThatAPlatformNeedNotHave) {
    for (const char* name : {"ART_find_item", "MVTYPE_ask_name", "ERR_ask_stack"})
        EXPECT_EQ(GetProcAddress(platform_, name), nullptr) << name;
    tag_t item = 99;
    EXPECT_EQ(call<int>(support_, "KELD_ART_find_item", static_cast<const char*>("000100"), &item),
              0);
    EXPECT_EQ(item, NULLTAG);
    own<int>("own_answer", 4712);
    char name[129] = "before";
    EXPECT_EQ(call<int>(support_, "KELD_MVTYPE_ask_name", tag_t{7}, static_cast<char*>(name)),
              4712);
    EXPECT_STREQ(name, "before");
    EXPECT_THAT(calls(), HasSubstr("OBJ_ask_value_string "));
}

// Controls: without a module of that name the library can't be loaded, with it it can.
TEST_F(OwnPlatform, IsMissedIfNoModuleHasItsName) {
    const fs::path from = fs::path(fileOf(nullptr)).parent_path();
    const keld_test::Directory place;
    FreeLibrary(library_);
    ASSERT_EQ(GetModuleHandleW(L"mervane.dll"), nullptr);
    for (const char* name : {"keld_se.dll", "keld_qsktool.dll", "keld_basetool.dll"})
        fs::copy_file(from / name, place / name);
    const auto load = [&] {
        return LoadLibraryExW((place / "keld_se.dll").c_str(), nullptr,
                              LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    };
    EXPECT_EQ(load(), nullptr);
    fs::copy_file(from / "mervane.dll", place / "mervane.dll");
    const HMODULE loaded = load();
    EXPECT_NE(loaded, nullptr);
    EXPECT_EQ(fs::path(fileOf(GetModuleHandleW(L"mervane.dll"))).parent_path(), place.path());
    FreeLibrary(loaded);
}
