// The two ways of ACBOMLineChildrenObjects to bring its lines into order: the sort of the sorting
// mode and the repair of the keeping mode. Kept: the passes are plain nested loops. What they
// compare is prepared once, so that a comparison mostly costs one look at two numbers.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"
#include "libkeld_flow/keld_par/keld_seqno.h"

namespace {

// A text with its hash: texts with different hashes differ, only those with equal ones are
// compared.
struct Text {
    const char* m_szText = nullptr;
    std::uint64_t m_ullHash = 0;

    Text() = default;
    explicit Text(const char* szText) : m_szText(szText), m_ullHash(14695981039346656037ULL) {
        for (; *szText != '\0'; ++szText)
            m_ullHash = (m_ullHash ^ static_cast<unsigned char>(*szText)) * 1099511628211ULL;
    }
    bool operator==(const Text& other) const {
        return m_ullHash == other.m_ullHash && std::strcmp(m_szText, other.m_szText) == 0;
    }
};

// A text with its first eight bytes as a number of the same order.
struct SortText {
    explicit SortText(const char* szText) : m_szText(szText), m_ullFirst(0) {
        for (int i = 0; i < 8; ++i) {
            m_ullFirst = (m_ullFirst << 8) | static_cast<unsigned char>(*szText);
            if (*szText != '\0')
                ++szText;
        }
    }
    // Bytewise as unsigned values; a text is smaller than a longer one that begins with it.
    bool operator>(const SortText& other) const {
        if (m_ullFirst != other.m_ullFirst)
            return m_ullFirst > other.m_ullFirst;
        return std::strcmp(m_szText, other.m_szText) > 0;
    }
    const char* m_szText;
    std::uint64_t m_ullFirst;
};

// The lines of one run of the keeping mode. Numbers assigned are seen at once by all comparisons.
class Repair {
public:
    explicit Repair(ACBOMLineChildrenObjects& children)
        : m_children(children),
          m_uiCount(children.m_iBomLineObjCount > 0
                        ? static_cast<std::size_t>(children.m_iBomLineObjCount)
                        : 0),
          m_vKeys(m_uiCount),
          m_vNumbers(m_uiCount),
          m_vOldNumbers(m_uiCount),
          m_vHasNumber(m_uiCount),
          m_vDumpLines(m_uiCount) {
        for (std::size_t i = 0; i < m_uiCount; ++i) {
            m_vOldNumbers[i] = Text(Object(i)->m_sOldSeqNo);
            ReadNumber(i);
        }
    }

    // Lines that have a number: no two components on one, no component on two.
    void FirstPass() {
        for (std::size_t i = 0; i < m_uiCount; ++i) {
            if (!m_vHasNumber[i])
                continue;
            for (std::size_t j = i + 1; j < m_uiCount; ++j)
                CheckPair(i, j);
            Dump();
        }
    }

    // Lines that are still without a number.
    void SecondPass() {
        for (std::size_t i = 0; i < m_uiCount; ++i) {
            if (m_vHasNumber[i])
                continue;
            // Only later lines can have one: an earlier line gave it away in the first pass.
            const std::size_t uiFound = FindNumbered(i);
            if (uiFound < m_uiCount)
                Take(i, uiFound);
            else
                TakeFresh(i);
            for (std::size_t k = i + 1; k < m_uiCount; ++k) {
                if (Key(k) == Key(i) && !m_vHasNumber[k])
                    Take(k, i);
            }
        }
    }

private:
    ACBOMLineObject* Object(std::size_t i) { return m_children.m_ppBomLineObj[i]; }

    // The component key, built on first demand.
    const Text& Key(std::size_t i) {
        if (m_vKeys[i].m_szText == nullptr)
            m_vKeys[i] = Text(Object(i)->getCompareString());
        return m_vKeys[i];
    }

    void ReadNumber(std::size_t i) {
        const char* szNumber = Object(i)->getSeqNo();
        m_vNumbers[i] = Text(szNumber);
        m_vHasNumber[i] = KELD_SeqNoValue(szNumber) != 0 ? 1 : 0;
    }

    void Assign(std::size_t i, const char* szNumber) {
        Object(i)->setNewSeqNo(szNumber);
        ReadNumber(i);
        m_vDumpLines[i].clear();
        m_sDump.clear();
    }

    // Give the line at i the number of another one.
    void Take(std::size_t i, std::size_t uiFrom) { Assign(i, m_vNumbers[uiFrom].m_szText); }

    // Kept: a fresh number isn't checked against those in use, so a clash may stay.
    void TakeFresh(std::size_t i) {
        char sBuffer[uiSeqNoBuffer] = {};
        m_children.getNextSeqNo(m_children.m_iSeqNoIncr, sBuffer);
        Assign(i, sBuffer);
    }

    // Repair what is wrong between the line at i and the line at j, which comes after it.
    void CheckPair(std::size_t i, std::size_t j) {
        const bool bSameNumber = m_vNumbers[j] == m_vNumbers[i];
        if (Key(j) == Key(i)) {
            if (!bSameNumber)
                Take(j, i);
            return;
        }
        if (!bSameNumber)
            return;
        const std::size_t uiFound = FindOwnNumber(i, j);
        if (uiFound < m_uiCount) {
            Take(j, uiFound);
            return;
        }
        TakeFresh(j);
        for (std::size_t k = j + 1; k < m_uiCount; ++k) {
            if (Key(k) == Key(j) && !(m_vNumbers[k] == m_vNumbers[j]))
                Take(k, j);
        }
    }

    // The next line after j of the same component whose number j can take; the count if none.
    std::size_t FindOwnNumber(std::size_t i, std::size_t j) {
        for (std::size_t k = j + 1; k < m_uiCount; ++k) {
            // Kept: of the line at i the number as read counts too, not only the one in force.
            if (Key(k) == Key(j) && m_vHasNumber[k] && !(m_vNumbers[k] == m_vNumbers[j]) &&
                !(m_vOldNumbers[k] == m_vOldNumbers[i]) && !(m_vNumbers[k] == m_vNumbers[i]))
                return k;
        }
        return m_uiCount;
    }

    // The next line after i of the same component that has a number; the count if none.
    std::size_t FindNumbered(std::size_t i) {
        for (std::size_t k = i + 1; k < m_uiCount; ++k) {
            if (Key(k) == Key(i) && m_vHasNumber[k])
                return k;
        }
        return m_uiCount;
    }

    // Kept: prints all lines to standard output, not to the log. Only changed ones are formatted
    // anew.
    void Dump() {
        if (m_sDump.empty()) {
            for (std::size_t i = 0; i < m_uiCount; ++i) {
                if (m_vDumpLines[i].empty())
                    m_vDumpLines[i] = DumpLine(i);
                m_sDump += m_vDumpLines[i];
            }
        }
        std::fwrite(m_sDump.data(), 1, m_sDump.size(), stdout);
    }

    std::string DumpLine(std::size_t i) {
        char cIndex[24];
        char cKey[1024];
        std::snprintf(cIndex, sizeof(cIndex), "%02d ", static_cast<int>(i));
        KELD_CopyText(cKey, Key(i).m_szText, "m_sCompareString");  // the others are shorter
        std::string sLine = cIndex;
        sLine.append(cKey).append(" ").append(Object(i)->m_sOldSeqNo);
        sLine.append("-").append(Object(i)->getSeqNo());
        sLine.append("-").append(Object(i)->m_sNewSeqNo).append("\n");
        return sLine;
    }

    ACBOMLineChildrenObjects& m_children;
    std::size_t m_uiCount;
    // One list for each thing compared: the loops read them from end to end.
    std::vector<Text> m_vKeys;
    std::vector<Text> m_vNumbers;
    std::vector<Text> m_vOldNumbers;
    std::vector<char> m_vHasNumber;
    std::vector<std::string> m_vDumpLines;  // empty where the number has changed
    std::string m_sDump;                    // empty when a line has changed
};

}  // namespace

// Sort the array by component key; lines of equal keys keep their order. The platform's order of
// the lines isn't touched.
void ACBOMLineChildrenObjects::sort() {
    if (m_iBomLineObjCount < 2)
        return;
    std::vector<std::pair<SortText, ACBOMLineObject*>> vLines;
    vLines.reserve(static_cast<std::size_t>(m_iBomLineObjCount));
    for (int i = 0; i < m_iBomLineObjCount; ++i)
        vLines.emplace_back(SortText(m_ppBomLineObj[i]->getCompareString()), m_ppBomLineObj[i]);
    bool bSwapped = true;
    while (bSwapped) {
        bSwapped = false;
        for (std::size_t i = 1; i < vLines.size(); ++i) {
            if (vLines[i - 1].first > vLines[i].first) {
                std::swap(vLines[i - 1], vLines[i]);
                bSwapped = true;
            }
        }
    }
    for (std::size_t i = 0; i < vLines.size(); ++i)
        m_ppBomLineObj[i] = vLines[i].second;
}

void ACBOMLineChildrenObjects::
    eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono() {
    Repair repair(*this);
    repair.FirstPass();
    repair.SecondPass();
    KELD_TRACE(
        "ACBOMLineChildrenObjects::"
        "eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono()\n");
}
