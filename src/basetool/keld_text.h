#pragma once

// Texts: growing buffer, formatting, cuts. Inside libkeld_basetool only.

#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

// Bytes under construction. Never throws. Has no destructor, since the log's buffer has to work
// while static objects are destroyed; a local buffer is given back with Free.
class CKELD_TextBuffer {
public:
    // Make room for uiMore further bytes. False: no memory, the content stays.
    [[nodiscard]] bool Reserve(std::size_t uiMore) {
        return m_uiCapacity - m_uiSize >= uiMore || Grow(uiMore);
    }
    [[nodiscard]] bool Append(const char* pText, std::size_t uiLength) {
        if (uiLength == 0)  // there may be no memory yet
            return true;
        if (!Reserve(uiLength))
            return false;
        std::memcpy(m_pData + m_uiSize, pText, uiLength);
        m_uiSize += uiLength;
        return true;
    }
    [[nodiscard]] bool Append(char c) {
        if (!Reserve(1))
            return false;
        m_pData[m_uiSize++] = c;
        return true;
    }
    [[nodiscard]] bool AppendFill(char cFill, std::size_t uiCount) {
        if (uiCount == 0)
            return true;
        if (!Reserve(uiCount))
            return false;
        std::memset(m_pData + m_uiSize, cFill, uiCount);
        m_uiSize += uiCount;
        return true;
    }
    char* Data() { return m_pData; }
    std::size_t Size() const { return m_uiSize; }
    // Shrink, or take over bytes written into reserved room.
    void SetSize(std::size_t uiSize) { m_uiSize = uiSize; }
    void Free() {
        std::free(m_pData);
        m_pData = nullptr;
        m_uiSize = m_uiCapacity = 0;
    }

private:
    bool Grow(std::size_t uiMore);

    char* m_pData = nullptr;
    std::size_t m_uiSize = 0;
    std::size_t m_uiCapacity = 0;
};

// Append a format of the C library with its arguments. A null text shows as "(null)"; %n writes
// nothing; an unknown conversion and all that follows it is shown as written. False: no memory.
[[nodiscard]] bool KELD_AppendFormat(CKELD_TextBuffer* pBuffer, const char* szFormat,
                                     va_list arguments);

// Copy a text with its terminator into uiLimit + 1 bytes; a longer one is cut with a warning that
// names the field.
void KELD_CopyBounded(char* out, std::string_view text, std::size_t uiLimit, const char* szField);

// Without blanks and tabs at both ends.
std::string_view KELD_Trim(std::string_view text);

// Leading blanks, sign, decimal digits; without digits 0. A huge number is the nearest one.
int KELD_TextToInt(std::string_view text);
