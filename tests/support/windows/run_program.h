#pragma once

// Runs a program with arguments, its output going to files. For run_program.h.

#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace keld_test {

// Texts of tests are UTF-8.
inline std::wstring wideText(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end())).wstring();
}

// Quote a word so that the runtime library of the started program reads it back.
inline std::wstring quoted(const std::wstring& word) {
    std::wstring all = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        all.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        all += c;
    }
    return all.append(2 * backslashes, L'\\') + L"\"";
}

inline std::string withoutReturns(std::string text) {
    std::erase(text, '\r');
    return text;
}

inline int startAndWait(const std::string& program, const std::vector<std::string>& arguments,
                        const std::filesystem::path& directory, const std::filesystem::path& out,
                        const std::filesystem::path& err) {
    std::wstring line = quoted(wideText(program));
    for (const std::string& argument : arguments)
        line += L" " + quoted(wideText(argument));
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const auto open = [&](const wchar_t* path, DWORD access, DWORD disposition) {
        return CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, disposition,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = open(L"NUL", GENERIC_READ, OPEN_EXISTING);
    startup.hStdOutput = open(out.c_str(), GENERIC_WRITE, CREATE_ALWAYS);
    startup.hStdError = open(err.c_str(), GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        directory.c_str(), &startup, &process);
    for (const HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        CloseHandle(handle);
    if (!started)
        throw std::runtime_error("can't start " + program);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

}  // namespace keld_test
