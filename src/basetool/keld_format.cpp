#include <cstdint>
#include <cstdio>

#include "basetool/keld_text.h"

namespace {

// One conversion: %[flags][width][.precision][length]type.
struct Conversion {
    char m_sFlags[8] = "";
    int m_iWidth = 0;
    int m_iPrecision = -1;  // none
    char m_sLength[3] = "";
    char m_cType = '\0';

    bool IsLength(const char* szLength) const { return std::strcmp(m_sLength, szLength) == 0; }
};

constexpr int iLargestWidth = 4096;  // a wrong format can't ask for more blanks than this

bool AppendInt(CKELD_TextBuffer* pBuffer, int iValue) {
    char cDigits[12];
    char* pFirst = cDigits + sizeof(cDigits);
    auto uiRest = static_cast<unsigned int>(iValue);
    if (iValue < 0)
        uiRest = 0U - uiRest;
    do {
        *--pFirst = static_cast<char>('0' + uiRest % 10);
        uiRest /= 10;
    } while (uiRest != 0);
    if (iValue < 0)
        *--pFirst = '-';
    return pBuffer->Append(pFirst, static_cast<std::size_t>(cDigits + sizeof(cDigits) - pFirst));
}

bool AppendText(CKELD_TextBuffer* pBuffer, const char* szText) {
    if (szText == nullptr)
        szText = "(null)";
    return pBuffer->Append(szText, std::strlen(szText));
}

// A text with width and precision; the text need not end within the precision.
bool AppendPaddedText(CKELD_TextBuffer* pBuffer, const Conversion& conversion, const char* szText) {
    if (szText == nullptr)
        szText = "(null)";
    std::size_t uiLength = 0;
    if (conversion.m_iPrecision < 0) {
        uiLength = std::strlen(szText);
    } else {
        const auto uiMost = static_cast<std::size_t>(conversion.m_iPrecision);
        while (uiLength < uiMost && szText[uiLength] != '\0')
            ++uiLength;
    }
    const auto uiWidth = static_cast<std::size_t>(conversion.m_iWidth);
    const std::size_t uiPadding = uiWidth > uiLength ? uiWidth - uiLength : 0;
    const bool bLeft = std::strchr(conversion.m_sFlags, '-') != nullptr;
    return (bLeft || pBuffer->AppendFill(' ', uiPadding)) && pBuffer->Append(szText, uiLength) &&
           (!bLeft || pBuffer->AppendFill(' ', uiPadding));
}

// A number, character or pointer, left to the C library.
template <typename T>
bool AppendValue(CKELD_TextBuffer* pBuffer, const Conversion& conversion, T value) {
    char sFormat[64];
    if (conversion.m_iPrecision < 0)  // "%.0d" shows no digit for a width of 0
        std::snprintf(sFormat, sizeof(sFormat), "%%%s%.0d%s%c", conversion.m_sFlags,
                      conversion.m_iWidth, conversion.m_sLength, conversion.m_cType);
    else
        std::snprintf(sFormat, sizeof(sFormat), "%%%s%.0d.%d%s%c", conversion.m_sFlags,
                      conversion.m_iWidth, conversion.m_iPrecision, conversion.m_sLength,
                      conversion.m_cType);
    std::size_t uiRoom = 64;
    for (;;) {
        if (!pBuffer->Reserve(uiRoom))
            return false;
        const int iLength =
            std::snprintf(pBuffer->Data() + pBuffer->Size(), uiRoom, sFormat, value);
        if (iLength < 0)
            return true;  // the C library refuses the value: nothing is shown for it
        const auto uiLength = static_cast<std::size_t>(iLength);
        if (uiLength < uiRoom) {
            pBuffer->SetSize(pBuffer->Size() + uiLength);
            return true;
        }
        uiRoom = uiLength + 1;
    }
}

// Digits of a width or precision, or its argument.
int ReadNumber(const char** ppFormat, va_list* pArguments) {
    if (**ppFormat == '*') {
        ++*ppFormat;
        return va_arg(*pArguments, int);
    }
    int iNumber = 0;
    for (; **ppFormat >= '0' && **ppFormat <= '9'; ++*ppFormat)
        if (iNumber < iLargestWidth)  // so that it can't overflow
            iNumber = iNumber * 10 + (**ppFormat - '0');
    return iNumber;
}

int Bounded(int iNumber) {
    return iNumber < iLargestWidth ? iNumber : iLargestWidth;
}

// Read what follows the percent sign and move the format past it.
Conversion ReadConversion(const char** ppFormat, va_list* pArguments) {
    Conversion conversion;
    std::size_t uiFlags = 0;
    for (; **ppFormat != '\0' && std::strchr("-+ #0", **ppFormat) != nullptr; ++*ppFormat)
        if (uiFlags + 2 < sizeof(conversion.m_sFlags))  // one place is left for a negative width
            conversion.m_sFlags[uiFlags++] = **ppFormat;
    const int iWidth = ReadNumber(ppFormat, pArguments);
    if (iWidth < 0)
        conversion.m_sFlags[uiFlags++] = '-';
    // Bounded first: the smallest int has no absolute value.
    conversion.m_iWidth = Bounded(iWidth < -iLargestWidth ? iLargestWidth : std::abs(iWidth));
    if (**ppFormat == '.') {
        ++*ppFormat;
        const int iPrecision = ReadNumber(ppFormat, pArguments);
        conversion.m_iPrecision = iPrecision < 0 ? -1 : Bounded(iPrecision);
    }
    for (std::size_t uiLength = 0;
         uiLength < 2 && **ppFormat != '\0' && std::strchr("hljztL", **ppFormat) != nullptr;
         ++*ppFormat)
        conversion.m_sLength[uiLength++] = **ppFormat;
    conversion.m_cType = **ppFormat;
    if (**ppFormat != '\0')
        ++*ppFormat;
    return conversion;
}

// Integers of every length. *pKnown false: no such length, nothing was read or written.
bool AppendInteger(CKELD_TextBuffer* pBuffer, const Conversion& conversion, va_list* pArguments,
                   bool* pKnown) {
    if (conversion.IsLength("l"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, long));
    if (conversion.IsLength("ll"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, long long));
    if (conversion.IsLength("j"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, std::intmax_t));
    if (conversion.IsLength("z"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, std::size_t));
    if (conversion.IsLength("t"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, std::ptrdiff_t));
    if (conversion.IsLength("") || conversion.IsLength("h") || conversion.IsLength("hh"))
        return AppendValue(pBuffer, conversion, va_arg(*pArguments, int));
    *pKnown = false;
    return true;
}

// Every conversion but the two frequent ones. *pKnown false: nothing was read or written.
bool AppendConversion(CKELD_TextBuffer* pBuffer, const Conversion& conversion, va_list* pArguments,
                      bool* pKnown) {
    switch (conversion.m_cType) {
        case '%':
            return pBuffer->Append("%", 1);
        case 's':
            if (conversion.m_sLength[0] != '\0')
                break;
            return AppendPaddedText(pBuffer, conversion, va_arg(*pArguments, const char*));
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return AppendInteger(pBuffer, conversion, pArguments, pKnown);
        case 'c':
            if (conversion.m_sLength[0] != '\0')
                break;
            return AppendValue(pBuffer, conversion, va_arg(*pArguments, int));
        case 'a':
        case 'A':
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
            if (conversion.IsLength("L"))
                return AppendValue(pBuffer, conversion, va_arg(*pArguments, long double));
            if (!conversion.IsLength("") && !conversion.IsLength("l"))
                break;
            return AppendValue(pBuffer, conversion, va_arg(*pArguments, double));
        case 'p':
            if (conversion.m_sLength[0] != '\0')
                break;
            return AppendValue(pBuffer, conversion, va_arg(*pArguments, void*));
        case 'n':
            (void)va_arg(*pArguments, void*);  // passed over; nothing is written through it
            return true;
        default:
            break;
    }
    *pKnown = false;
    return true;
}

bool AppendAll(CKELD_TextBuffer* pBuffer, const char* szFormat, va_list* pArguments) {
    for (;;) {
        // Text between conversions is short: a loop beats the calls that search and copy.
        const char* pPercent = szFormat;
        for (; *pPercent != '%' && *pPercent != '\0'; ++pPercent)
            if (!pBuffer->Append(*pPercent))
                return false;
        if (*pPercent == '\0')
            return true;
        szFormat = pPercent + 1;
        bool bDone = false;
        bool bKnown = true;
        if (*szFormat == 's') {
            bDone = AppendText(pBuffer, va_arg(*pArguments, const char*));
            ++szFormat;
        } else if (*szFormat == 'd') {
            bDone = AppendInt(pBuffer, va_arg(*pArguments, int));
            ++szFormat;
        } else {
            const Conversion conversion = ReadConversion(&szFormat, pArguments);
            bDone = AppendConversion(pBuffer, conversion, pArguments, &bKnown);
        }
        if (!bDone)
            return false;
        if (!bKnown)  // its argument's type is unknown, so no later argument can be read either
            return pBuffer->Append(pPercent, std::strlen(pPercent));
    }
}

}  // namespace

bool KELD_AppendFormat(CKELD_TextBuffer* pBuffer, const char* szFormat, va_list arguments) {
    if (szFormat == nullptr)
        return true;
    va_list copy;  // where va_list is an array, the address of a parameter is no va_list*
    va_copy(copy, arguments);
    const bool bDone = AppendAll(pBuffer, szFormat, &copy);
    va_end(copy);
    return bDone;
}
