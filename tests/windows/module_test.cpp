// Loading of libkeld_se as a module.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <thread>

namespace fs = std::filesystem;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

TEST(Module, AnswersEveryReasonWithSuccess) {
    for (const DWORD reason :
         {DWORD{DLL_PROCESS_ATTACH}, DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_THREAD_DETACH},
          DWORD{DLL_PROCESS_DETACH}, DWORD{4}, DWORD{0xFFFFFFFF}})
        EXPECT_EQ(DllMain(nullptr, reason, nullptr), TRUE) << reason;
}

TEST(Module, IsLoadedAndUnloadedWithoutATrace) {
    const fs::path log = fs::temp_directory_path() / "keld_module_test.log";
    std::error_code ignored;
    fs::remove(log, ignored);
    ASSERT_TRUE(SetEnvironmentVariableW(L"KELD_LOG_FILE", log.c_str()));
    const HMODULE module = LoadLibraryA(KELD_SE_MODULE);
    ASSERT_NE(module, nullptr) << GetLastError();
    std::thread([] {}).join();
    EXPECT_NE(GetProcAddress(module, "KELD_SrvCall"), nullptr);
    EXPECT_EQ(GetProcAddress(module, "DllMain"), nullptr);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"keld_se.dll"), nullptr);
    EXPECT_FALSE(fs::exists(log));
}
