#include <climits>
#include <cstdio>

#include "basetool/keld_logfile.h"
#include "basetool/keld_text.h"
#include "os/keld_guard.h"
#include "platform/keld_basetool.h"

namespace {

constexpr int iLevelError = 1;
constexpr int iLevelWarning = 2;
constexpr int iLevelTrace = 3;
constexpr int iLevelDebug = 4;
constexpr char cLevelLetters[] = " EWTD";

constexpr std::size_t uiMostWaiting = std::size_t{64} * 1024;
constexpr std::size_t uiSpacesPerStep = 2;
constexpr std::size_t uiStampLength = 26;  // "YYYY-MM-DD hh:mm:ss.mmm L "
constexpr std::size_t uiMillisecondsAt = 20;

// The log of the process. Everything in it stays usable while static objects are destroyed. Without
// memory a line is dropped without a trace, so that the next one works if there is memory again.
//
// Lines wait until their stretch ends: the next line at the depth of the stretch's first line, or
// at a smaller one, takes them all to the file. So a service's lines are in the file when it ends,
// and a run of nested calls costs one write. A full buffer is written without ending the stretch;
// an error or a warning ends it.
class Log {
public:
    bool IsWanted(int iLevel) const { return iLevel <= m_iLevel; }
    int Level();
    void SetLevel(int iLevel);
    void StepIn() { ++m_iDepth; }
    void StepOut() {
        if (m_iDepth > 0)
            --m_iDepth;
    }
    void WriteLine(int iLevel, const char* szFormat, va_list arguments);
    void WriteAsItStands(const char* szText);
    const char* Path();
    void Flush();
    void EndWaiting() {
        KELD_GuardedCall([this] { Flush(); });
        m_bMayWait = false;
    }
    // Forget the waiting lines.
    void DropWaiting() {
        m_waiting.SetSize(0);
        m_bInStretch = false;
    }

private:
    int FindLevel();
    bool OpenFile();
    bool AppendLine(int iLevel, const char* szFormat, va_list arguments);
    void WriteStamp(char* pLine);
    bool AlignContinuedLines(std::size_t uiText, std::size_t uiColumn);
    void WriteOrWait(int iLevel, bool bFirst);
    void WriteWaiting();

    // INT_MAX until the level is known: every line passes IsWanted, and WriteLine tests it again.
    int m_iLevel = INT_MAX;
    bool m_bLevelKnown = false;
    int m_iDepth = 0;

    CKELD_LogFile m_file;
    bool m_bForksKnown = false;  // true: a forked child drops the waiting lines
    CKELD_TextBuffer m_waiting;
    bool m_bMayWait = true;
    bool m_bInStretch = false;
    int m_iStretchDepth = 0;
    int m_iWrittenDepth = 0;  // of the line written last

    std::int64_t m_llStampSecond = -1;
    char m_cStamp[uiStampLength + 12] = {};
};

constinit Log g_log;

// The last lines reach the file at the end of the process; later ones don't wait.
struct EndOfProcess {
    ~EndOfProcess() { g_log.EndWaiting(); }
};
EndOfProcess g_endOfProcess;

// Drop the waiting lines in a forked child: they are the parent's, which writes them itself.
void DropLinesOfParent() {
    g_log.DropWaiting();
}

// Open the file at the first line. False: it can't be opened, or there is no memory for it yet.
bool Log::OpenFile() {
    if (!m_bForksKnown)
        m_bForksKnown = keld_os::CallInForkedChild(&DropLinesOfParent);
    return m_bForksKnown && m_file.Open();
}

// Without memory to look the level up, it is the default.
int Log::Level() {
    return KELD_Guarded(iLevelTrace, [this] { return FindLevel(); });
}

int Log::FindLevel() {
    if (!m_bLevelKnown) {
        std::string sLevel;
        const bool bGiven = keld_os::GetEnv("KELD_LOG_LEVEL", &sLevel) &&
                            sLevel.find_first_of("0123456789") != std::string::npos;
        SetLevel(bGiven ? KELD_TextToInt(sLevel) : iLevelTrace);
    }
    return m_iLevel;
}

void Log::SetLevel(int iLevel) {
    m_iLevel = iLevel;
    m_bLevelKnown = true;
}

void Log::WriteLine(int iLevel, const char* szFormat, va_list arguments) {
    KELD_GuardedCall([&] {
        if (iLevel > FindLevel() || !OpenFile())
            return;
        const std::size_t uiBefore = m_waiting.Size();
        if (AppendLine(iLevel, szFormat, arguments))
            WriteOrWait(iLevel, !m_bInStretch);
        else
            m_waiting.SetSize(uiBefore);
    });
}

bool Log::AppendLine(int iLevel, const char* szFormat, va_list arguments) {
    const std::size_t uiLine = m_waiting.Size();
    const std::size_t uiSpaces = static_cast<std::size_t>(m_iDepth) * uiSpacesPerStep;
    // Reserve a full buffer at once: while lines wait, it seldom has to grow.
    if (!m_waiting.Reserve(uiMostWaiting - (uiLine < uiMostWaiting ? uiLine : uiMostWaiting) +
                           uiStampLength + uiSpaces + 512))
        return false;
    char* pLine = m_waiting.Data() + uiLine;
    WriteStamp(pLine);
    pLine[uiStampLength - 2] = cLevelLetters[iLevel];
    std::memset(pLine + uiStampLength, ' ', uiSpaces);
    m_waiting.SetSize(uiLine + uiStampLength + uiSpaces);
    const std::size_t uiText = m_waiting.Size();
    if (!KELD_AppendFormat(&m_waiting, szFormat, arguments))
        return false;
    while (m_waiting.Size() > uiText && m_waiting.Data()[m_waiting.Size() - 1] == '\n')
        m_waiting.SetSize(m_waiting.Size() - 1);
    return AlignContinuedLines(uiText, uiText - uiLine) && m_waiting.Append('\n');
}

// Put "YYYY-MM-DD hh:mm:ss.mmm ? " at the line's start, ? being the level's place. The part up to
// the second is made once a second.
void Log::WriteStamp(char* pLine) {
    constexpr std::int64_t llTicksPerSecond = 10000000;
    const std::int64_t llTicks = keld_os::CoarseWallClock();
    const std::int64_t llSecond = llTicks / llTicksPerSecond;
    if (llSecond != m_llStampSecond) {
        std::tm time{};
        (void)keld_os::LocalTime(llTicks, &time);  // a time out of range shows as zeros
        std::snprintf(m_cStamp, sizeof(m_cStamp), "%04d-%02d-%02d %02d:%02d:%02d.000   ",
                      (time.tm_year + 1900) % 10000, time.tm_mon + 1, time.tm_mday, time.tm_hour,
                      time.tm_min, time.tm_sec);
        m_llStampSecond = llSecond;
    }
    std::memcpy(pLine, m_cStamp, uiStampLength);
    const auto iMs = static_cast<int>(llTicks % llTicksPerSecond / 10000);
    pLine[uiMillisecondsAt] = static_cast<char>('0' + iMs / 100);
    pLine[uiMillisecondsAt + 1] = static_cast<char>('0' + iMs / 10 % 10);
    pLine[uiMillisecondsAt + 2] = static_cast<char>('0' + iMs % 10);
}

// Indent the continued lines of a text to the column of its first one.
bool Log::AlignContinuedLines(std::size_t uiText, std::size_t uiColumn) {
    while (uiText < m_waiting.Size()) {
        const void* pBreak =
            std::memchr(m_waiting.Data() + uiText, '\n', m_waiting.Size() - uiText);
        if (pBreak == nullptr)
            return true;
        const auto uiNext =
            static_cast<std::size_t>(static_cast<const char*>(pBreak) - m_waiting.Data()) + 1;
        const std::size_t uiRest = m_waiting.Size() - uiNext;
        if (!m_waiting.AppendFill(' ', uiColumn))
            return false;
        std::memmove(m_waiting.Data() + uiNext + uiColumn, m_waiting.Data() + uiNext, uiRest);
        std::memset(m_waiting.Data() + uiNext, ' ', uiColumn);
        uiText = uiNext + uiColumn;
    }
    return true;
}

// Write the line just added, or let it wait; bFirst: no stretch was open before it.
void Log::WriteOrWait(int iLevel, bool bFirst) {
    const bool bEndsStretch = bFirst ? m_iDepth < m_iWrittenDepth  // ends a call begun in the file
                                     : m_iDepth <= m_iStretchDepth;
    if (iLevel <= iLevelWarning || bEndsStretch || !m_bMayWait) {
        Flush();
        return;
    }
    if (bFirst) {
        m_bInStretch = true;
        m_iStretchDepth = m_iDepth;
    }
    if (m_waiting.Size() >= uiMostWaiting)
        WriteWaiting();
}

void Log::WriteWaiting() {
    if (m_waiting.Size() > 0)
        m_file.Write(m_waiting.Data(), m_waiting.Size());
    m_waiting.SetSize(0);
    m_iWrittenDepth = m_iDepth;
}

void Log::Flush() {
    WriteWaiting();
    m_bInStretch = false;
}

void Log::WriteAsItStands(const char* szText) {
    KELD_GuardedCall([this, szText] {
        if (!OpenFile())
            return;
        const char* const szLine = szText != nullptr ? szText : "";
        const std::size_t uiLength = std::strlen(szLine);
        const bool bBreak = uiLength > 0 && szLine[uiLength - 1] == '\n';
        const std::size_t uiBefore = m_waiting.Size();
        if (!m_waiting.Append(szLine, uiLength) || (!bBreak && !m_waiting.Append("\n", 1)))
            m_waiting.SetSize(uiBefore);
        Flush();
    });
}

const char* Log::Path() {
    return KELD_Guarded<const char*>(nullptr, [this]() -> const char* {
        if (!OpenFile())
            return nullptr;
        Flush();
        return m_file.Path();
    });
}

void WriteLine(int iLevel, const char* szFormat, ...) {
    va_list arguments;
    va_start(arguments, szFormat);
    g_log.WriteLine(iLevel, szFormat, arguments);
    va_end(arguments);
}

}  // namespace

// The level is tested before anything else: an unwanted line costs one comparison.

void KELD_LOG(int, int, const char* format, ...) {
    if (!g_log.IsWanted(iLevelTrace))
        return;
    va_list arguments;
    va_start(arguments, format);
    g_log.WriteLine(iLevelTrace, format, arguments);
    va_end(arguments);
}

void KELD_TRACE(const char* format, ...) {
    if (!g_log.IsWanted(iLevelTrace))
        return;
    va_list arguments;
    va_start(arguments, format);
    g_log.WriteLine(iLevelTrace, format, arguments);
    va_end(arguments);
}

void KELD_DEBUG(const char* format, ...) {
    if (!g_log.IsWanted(iLevelDebug))
        return;
    va_list arguments;
    va_start(arguments, format);
    g_log.WriteLine(iLevelDebug, format, arguments);
    va_end(arguments);
}

void KELD_WARNING(const char* format, ...) {
    if (!g_log.IsWanted(iLevelWarning))
        return;
    va_list arguments;
    va_start(arguments, format);
    g_log.WriteLine(iLevelWarning, format, arguments);
    va_end(arguments);
}

void KELD_ERROR(const char* format, ...) {
    if (!g_log.IsWanted(iLevelError))
        return;
    va_list arguments;
    va_start(arguments, format);
    g_log.WriteLine(iLevelError, format, arguments);
    va_end(arguments);
}

void KELD_IncTraceSpaces(void) {
    g_log.StepIn();
}

void KELD_DecTraceSpaces(void) {
    g_log.StepOut();
}

void KELD_PRINTLOG(const char* text) {
    g_log.WriteAsItStands(text);
}

void KELD_PRINT_VERINFO(const char* format, ...) {
    CKELD_TextBuffer text;
    va_list arguments;
    va_start(arguments, format);
    const bool bFormatted = KELD_AppendFormat(&text, format, arguments) && text.Append("", 1);
    va_end(arguments);
    if (bFormatted) {
        (void)std::fputs(text.Data(), stdout);
        (void)std::fflush(stdout);
        if (g_log.IsWanted(iLevelTrace))
            WriteLine(iLevelTrace, "%s", text.Data());
    }
    text.Free();
}

const char* KELD_GetLogFilePath(void) {
    return g_log.Path();
}

int KELD_GetLogLevel(void) {
    return g_log.Level();
}

void KELD_SetLogLevel(int level) {
    g_log.SetLevel(level);
}
