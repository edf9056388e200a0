// Replaces the command processor where a test names this program in COMSPEC. It writes down the
// command and passes it on to the real one, or gives 3 without running anything if the command
// begins with the word of KELD_TEST_REFUSED.

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

std::wstring variable(const wchar_t* name) {
    wchar_t value[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, MAX_PATH);
    return {value, length < MAX_PATH ? length : 0};
}

void writeDown(const std::wstring& command) {
    FILE* file = _wfopen(variable(L"KELD_TEST_COMMANDS").c_str(), L"ab");
    if (file == nullptr)
        return;
    char text[4096];
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, command.data(), static_cast<int>(command.size()), text,
                            sizeof text, nullptr, nullptr);
    std::fwrite(text, 1, static_cast<std::size_t>(size), file);
    std::fputc('\n', file);
    std::fclose(file);
}

}  // namespace

int main() {
    const std::wstring line = GetCommandLineW();
    const std::size_t begin = line.find(L"/S /C \"");
    if (begin == std::wstring::npos || line.back() != L'"')
        return 99;
    const std::wstring command = line.substr(begin + 7, line.size() - begin - 8);
    writeDown(command);
    const std::wstring refused = variable(L"KELD_TEST_REFUSED");
    if (!refused.empty() && command.compare(0, refused.size(), refused) == 0)
        return 3;
    std::wstring real = L"cmd.exe " + line.substr(begin);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, real.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process))
        return 98;
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 97;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}
