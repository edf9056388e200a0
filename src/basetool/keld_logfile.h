#pragma once

// The file of the log: where it is, how lines are appended, how large it grows.

#include <cstddef>
#include <cstdint>
#include <string>

#include "os/keld_os.h"

class CKELD_LogFile {
public:
    // Open at the first call. False: it can't be opened, now and later; standard error has a note.
    // Throws without memory; the next call tries again.
    [[nodiscard]] bool Open();
    // Write whole lines in one piece, so that processes can share the file. What can't be written
    // is dropped; standard error has one note of it. Throws if there is no memory to begin the file
    // anew; nothing is written then.
    void Write(const char* pLines, std::size_t uiSize);
    // Null before Open.
    const char* Path() const { return m_pPath != nullptr ? m_pPath->c_str() : nullptr; }

private:
    bool OpenFile();
    void TellOfDropped();
    void RotateIfTooLarge();
    void MoveAside(const keld_os::FileState& own);

    bool m_bTried = false;     // to open it
    bool m_bHalfLine = false;  // the last write ended within a line
    bool m_bDroppedTold = false;
    std::int64_t m_llLimit = 0;       // bytes, 0: none
    std::int64_t m_llTryAgainAt = 0;  // size for the next try, after a renaming that failed
    std::string* m_pPath = nullptr;   // kept to the end of the process: callers hold the pointer
    std::string* m_pOlderPath = nullptr;
    keld_os::AppendFile m_file;
};
