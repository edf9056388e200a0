#include "frame/keld_trace.h"

#include <cstring>

#include "os/keld_os.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"

namespace {

constexpr std::int32_t iLongCallMs = 1000;
constexpr std::size_t uiShortTextSize = 1001;

int iStepsTaken = 0;

const std::int64_t llStartTicks = keld_os::IntervalClock();

// Milliseconds since the start of the process; only differences mean something. The cheaper clock
// will do: it only has to find calls of more than a second.
std::uint32_t ReadClock() {
    return static_cast<std::uint32_t>((keld_os::IntervalClock() - llStartTicks) / 10000);
}

// Time since a reading: the signed difference is right also after the 32 bits have wrapped around,
// and negative after the clock was set back.
std::int32_t ElapsedMs(std::uint32_t ulStart) {
    return static_cast<std::int32_t>(ReadClock() - ulStart);
}

// The last component of a trace file. Only the backslash separates, on every system.
const char* FileName(const char* szFile) {
    const char* pSeparator = std::strrchr(szFile, '\\');
    return pSeparator != nullptr ? pSeparator + 1 : szFile;
}

// The text of the returning form: the name in front of the first parenthesis and "(...)".
class ShortText {
public:
    explicit ShortText(const char* szText) {
        constexpr char szSuffix[] = "(...)";
        constexpr std::size_t uiRoom = uiShortTextSize - sizeof(szSuffix);
        // Names are short: a loop beats the calls that search and copy.
        std::size_t uiLength = 0;
        for (; uiLength < uiRoom && !IsEnd(szText[uiLength]); ++uiLength)
            m_sText[uiLength] = szText[uiLength];
        m_bCut = !IsEnd(szText[uiLength]);
        // Not in the middle of a UTF-8 character, which has at most four bytes.
        for (int i = 0; m_bCut && i < 3 && IsContinuation(szText[uiLength]); ++i)
            --uiLength;
        std::memcpy(m_sText + uiLength, szSuffix, sizeof(szSuffix));
    }
    const char* Text() const { return m_sText; }
    bool IsCut() const { return m_bCut; }

private:
    static bool IsEnd(char c) { return c == '(' || c == '\0'; }
    static bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

    char m_sText[uiShortTextSize];
    bool m_bCut;
};

void LogEnter(const char* szText, const char* szFile, int iLine) {
    KELD_LOG(1, 1, " ->%s %s:%d\n", szText, FileName(szFile), iLine);
    KELD_IncTraceSpaces();
    ++iStepsTaken;
}

void LogLeave(const char* szText, const char* szFile, int iLine) {
    KELD_DecTraceSpaces();
    --iStepsTaken;
    KELD_LOG(1, 1, " <-%s %s:%d\n", szText, FileName(szFile), iLine);
}

void LogFailure(int iStatus, const char* szText, const char* szFile, int iLine) {
    char* szErrorText = nullptr;
    KELD_ERROR(" File:%s Line:%d Funktion:%s returned %d \n", FileName(szFile), iLine, szText,
               iStatus);
    (void)ERR_ask_error_text(iStatus, &szErrorText);  // without a text the line shows "(null)"
    KELD_ERROR("--%s--\n", szErrorText);
    if (szErrorText != nullptr)
        HEAP_free(szErrorText);
}

}  // namespace

std::uint32_t KELD_TraceCallEnter(const char* szText, const char* szFile, int iLine) {
    const std::uint32_t ulStart = ReadClock();
    LogEnter(szText, szFile, iLine);
    return ulStart;
}

void KELD_TraceCallLeave(std::uint32_t ulStart, int iStatus, const char* szText, const char* szFile,
                         int iLine) {
    KELD_TRACE(" File:%s Line:%d Funktion:%s\n", FileName(szFile), iLine, szText);
    // Read the clock after the line: the time includes writing it.
    const std::int32_t iElapsed = ElapsedMs(ulStart);
    if (iElapsed > iLongCallMs)
        KELD_TRACE("%ds for call File:%s Line:%d Funktion:%s\n", iElapsed / 1000, FileName(szFile),
                   iLine, szText);
    if (iStatus != QSK_ok)
        LogFailure(iStatus, szText, szFile, iLine);
    LogLeave(szText, szFile, iLine);
}

std::uint32_t KELD_TraceQskCallEnter(const char* szText, const char* szFile, int iLine) {
    const std::uint32_t ulStart = ReadClock();
    const ShortText shortText(szText);
    if (shortText.IsCut())
        KELD_WARNING("Text cut to %d characters: %s\n", static_cast<int>(uiShortTextSize - 1),
                     "trace text");
    LogEnter(shortText.Text(), szFile, iLine);
    return ulStart;
}

void KELD_TraceQskCallLeave(std::uint32_t ulStart, int iStatus, const char* szText,
                            const char* szFile, int iLine) {
    const std::int32_t iElapsed = ElapsedMs(ulStart);  // of the call alone, unlike above
    // Built again: kept from the call's start, it would lie on the stack of calls that nest.
    const ShortText shortText(szText);
    if (iElapsed > iLongCallMs)
        KELD_TRACE("##Long Call: %s   %ds %s:%d\n", shortText.Text(), iElapsed / 1000,
                   FileName(szFile), iLine);
    if (iStatus != QSK_ok) {
        KELD_ERROR("##QSK_err_%d: %s   %s:%d\n", iStatus, shortText.Text(), FileName(szFile),
                   iLine);
        KELD_ReportLastQskError(iStatus);
    }
    LogLeave(shortText.Text(), szFile, iLine);
}

int KELD_TraceSteps() {
    return iStepsTaken;
}

void KELD_TraceBackTo(int iSteps) {
    for (; iStepsTaken > iSteps; --iStepsTaken)
        KELD_DecTraceSpaces();
}

void KELD_TraceFuncEnter(const char* szName, const char* szFile, int iLine) {
    LogEnter(szName, szFile, iLine);
}

void KELD_TraceFuncLeave(const char* szName, const char* szFile, int iLine) {
    LogLeave(szName, szFile, iLine);
}
