#if defined(_WIN32)

#include <windows.h>
// after windows.h
#include <psapi.h>

#include <vector>

#include "os/keld_os.h"
#include "os/keld_os_wide.h"

namespace keld_os {

std::uint32_t ProcessId() {
    return GetCurrentProcessId();
}

int RunCommand(const char* szCommand) {
    std::wstring sCommand;
    if (!ToWide(szCommand, &sCommand))
        return -1;
    wchar_t wcProcessor[MAX_PATH] = {};
    const DWORD ulLength = GetEnvironmentVariableW(L"COMSPEC", wcProcessor, MAX_PATH);
    if (ulLength == 0 || ulLength >= MAX_PATH)
        wcscpy(wcProcessor, L"cmd.exe");

    // The outer quotes are the command processor's own; it takes off exactly these.
    std::wstring sLine = L"\"" + std::wstring(wcProcessor) + L"\" /S /C \"" + sCommand + L"\"";
    SECURITY_ATTRIBUTES inherit{};
    inherit.nLength = sizeof(inherit);
    inherit.bInheritHandle = TRUE;
    const HANDLE hNull = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                     &inherit, OPEN_EXISTING, 0, nullptr);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = hNull;
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    const BOOL bStarted = CreateProcessW(nullptr, sLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                         nullptr, &startup, &process);
    int iResult = -1;
    if (bStarted) {
        DWORD ulExitCode = 0;
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &ulExitCode);
        iResult = static_cast<int>(ulExitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    if (hNull != INVALID_HANDLE_VALUE)
        CloseHandle(hNull);
    return iResult;
}

void* FindFunction(const char* szName) {
    if (szName == nullptr)
        return nullptr;
    std::vector<HMODULE> modules(256);
    DWORD ulNeeded = 0;
    for (;;) {  // another thread may load modules between two calls
        const auto ulRoom = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
        if (!K32EnumProcessModules(GetCurrentProcess(), modules.data(), ulRoom, &ulNeeded))
            return nullptr;
        const std::size_t uiCount = ulNeeded / sizeof(HMODULE);
        const bool bAll = uiCount <= modules.size();
        modules.resize(uiCount);
        if (bAll)
            break;
    }
    for (const HMODULE hModule : modules) {
        const FARPROC pFunction = GetProcAddress(hModule, szName);
        if (pFunction != nullptr)
            return reinterpret_cast<void*>(pFunction);
    }
    return nullptr;
}

bool CallInForkedChild(void (*)()) {
    return true;
}

}  // namespace keld_os

#endif
