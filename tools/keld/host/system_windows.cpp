#if defined(_WIN32)

#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <psapi.h>
#include <shellapi.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "tools/keld/host/context.h"
#include "tools/keld/host/system.h"
#include "workbench/system/wide.h"

namespace keld {

namespace fs = std::filesystem;
using mervane::system::narrow;
using mervane::system::wide;

const char* const kNullDevice = "NUL";

namespace {

constexpr int kOutput = 1;
constexpr int kError = 2;

}  // namespace

std::vector<std::string> programArguments(int argc, char** argv) {
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!words)
        return {argv, argv + argc};
    std::vector<std::string> all;
    for (int i = 0; i < count; ++i)
        all.push_back(narrow(words[i]));
    LocalFree(words);
    return all;
}

void failBeyondTheFileSizeLimit() {
}

bool outputIsTerminal() {
    return _isatty(kOutput) != 0;
}

bool errorIsTerminal() {
    return _isatty(kError) != 0;
}

bool startPager(const std::string&) {
    return false;
}

void endPager() noexcept {
}

std::size_t outputWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return 0;
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::string whyNotAppendable(const std::string& path) {
    std::error_code ignored;
    const fs::path directory = pathOf(path).parent_path();
    if (fs::exists(pathOf(path), ignored))
        return mayWrite(path) ? "" : "it can't be written";
    return directory.empty() || fs::is_directory(directory, ignored) ? "" : "there is no directory";
}

std::string makeFileBeside(const std::string& path) {
    for (int tries = 0; tries < 100; ++tries) {
        const std::string beside = path + ".part-" + mervane::system::randomName();
        const int file =
            _wopen(wide(beside).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL, _S_IREAD | _S_IWRITE);
        if (file >= 0) {
            _close(file);
            return beside;
        }
        if (errno != EEXIST)
            break;
    }
    throw CommandError("can't write " + path + ": " + std::strerror(errno));
}

// On Windows new files take their rights from the directory.
void limitRights(const std::string&) {
}

int redirectOutput(const std::string& path) {
    const int file =
        path.empty() ? kError
                     : _wopen(wide(path).c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_NOINHERIT,
                              _S_IREAD | _S_IWRITE);
    if (file < 0)
        throw CommandError("can't write " + path);
    const int kept = _dup(kOutput);
    const bool done = kept >= 0 && _dup2(file, kOutput) == 0;
    if (file != kError)
        _close(file);
    if (!done)
        throw CommandError("can't redirect the standard output");
    return kept;
}

void restoreOutput(int kept) noexcept {
    _dup2(kept, kOutput);
    _close(kept);
}

void* findFunction(const std::string& name) {
    std::vector<HMODULE> modules(1024);
    DWORD needed = 0;
    if (!K32EnumProcessModules(GetCurrentProcess(), modules.data(),
                               static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &needed))
        return nullptr;
    modules.resize(std::min<std::size_t>(modules.size(), needed / sizeof(HMODULE)));
    for (const HMODULE module : modules)
        if (const FARPROC function = GetProcAddress(module, name.c_str()))
            return reinterpret_cast<void*>(function);
    return nullptr;
}

namespace {

// Quote a word so that the C library of the started program splits the line correctly.
std::wstring quotedWord(const std::wstring& word) {
    std::wstring all = L"\"";
    std::size_t slashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"')
            all.append(slashes + 1, L'\\');
        slashes = c == L'\\' ? slashes + 1 : 0;
        all += c;
    }
    all.append(slashes, L'\\');
    return all + L'"';
}

HANDLE inheritable(const std::string& path, DWORD access, DWORD how) {
    SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileW(wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &security,
                       how, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

int runProgram(const ProgramCall& call, int seconds) {
    std::wstring line;
    for (const std::string& word : call.words)
        line += (line.empty() ? L"" : L" ") + quotedWord(wide(word));
    PROCESS_INFORMATION process{};
    {
        // Otherwise a program could inherit the handles that another thread has just opened for its
        // own.
        static std::mutex one_at_a_time;
        const std::lock_guard<std::mutex> lock(one_at_a_time);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = inheritable(kNullDevice, GENERIC_READ, OPEN_EXISTING);
        start.hStdOutput = inheritable(call.out, GENERIC_WRITE, CREATE_ALWAYS);
        start.hStdError = inheritable(call.err, GENERIC_WRITE, CREATE_ALWAYS);
        const BOOL done = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                         wide(call.directory).c_str(), &start, &process);
        for (const HANDLE file : {start.hStdInput, start.hStdOutput, start.hStdError})
            CloseHandle(file);
        if (!done)
            throw CommandError("can't start " + call.words.front());
    }
    constexpr DWORD kKilled = 128 + 9, kMilliseconds = 1000;
    if (WaitForSingleObject(process.hProcess, static_cast<DWORD>(seconds) * kMilliseconds) ==
        WAIT_TIMEOUT) {
        TerminateProcess(process.hProcess, kKilled);
        WaitForSingleObject(process.hProcess, INFINITE);
    }
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

std::string ownProgram() {
    std::wstring file(32768, L'\0');
    file.resize(GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size())));
    return narrow(file);
}

unsigned processors() {
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    return system.dwNumberOfProcessors > 0 ? system.dwNumberOfProcessors : 1;
}

// The version of a library is in its resources.
Module moduleOf(const void* function) {
    HMODULE handle = nullptr;
    if (!function || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                         static_cast<LPCWSTR>(function), &handle))
        return {};
    std::wstring file(32768, L'\0');
    file.resize(GetModuleFileNameW(handle, file.data(), static_cast<DWORD>(file.size())));
    Module module{narrow(file), ""};
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
    std::vector<char> data(size);
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    if (size > 0 && GetFileVersionInfoW(file.c_str(), 0, size, data.data()) &&
        VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &length))
        module.version = std::to_string(HIWORD(fixed->dwFileVersionMS)) + "." +
                         std::to_string(LOWORD(fixed->dwFileVersionMS)) + "." +
                         std::to_string(HIWORD(fixed->dwFileVersionLS)) + "." +
                         std::to_string(LOWORD(fixed->dwFileVersionLS));
    return module;
}

}  // namespace keld

#endif
