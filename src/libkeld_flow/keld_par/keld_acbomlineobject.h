#pragma once

// A snapshot of one child line: what was read, the number that it gets, its status for the protocol
// and the key by which two lines count as the same component.

#include <string>

#include "platform/types.h"

class ACBOMLineObject {
public:
    // Reads the line; what can't be read stays empty.
    ACBOMLineObject(tag_t p_tagBOMLine);
    virtual ~ACBOMLineObject();

    int initMembers();
    int initSequencingStatus();
    int initCompareString();
    // Reads the notes that take part in the key, once in the life of the process unless there are
    // none. The argument plays no part.
    int initNoteTypesToCompare(const char* p_sEnvKey);
    int getNoteTypeNamesToCompareCount();

    tag_t getBOMLineTag();
    const char* getItemId();
    const char* getRevisionId();
    // The number in force: the one assigned, else the one read.
    const char* getSeqNo();
    void setNewSeqNo(const char* p_sSeqNo);
    void setStatus(const char* p_sStatus);
    const char* getStatus();
    // Item id and values of the notes, built on first demand. Lines with equal keys are one
    // component; the revision plays no part.
    const char* getCompareString();
    logical hasNoWriteAccess();
    // The line's entry in the protocol, valid until the next call on any object.
    const char* getLogLine();

    int m_iCounter;
    tag_t m_tagBOMLine;
    tag_t m_tagBOMViewRevision;
    char m_sItemId[129];
    char m_sRevisionId[129];
    char m_sOldSeqNo[129];  // as read
    char m_sQuantity[129];  // as read
    logical m_bCheckedOut;
    logical m_bWriteAccess;
    char m_sCompareString[1024];
    char m_sNewSeqNo[129];  // empty: none assigned
    char m_sStatus[129];

    static int m_iNoteTypeNamesToCompareCount;
    static char** m_ppcNoteTypeNamesToCompare;
    static char m_sLogLine[1000];

private:
    std::string m_sWholeCompareString;  // a key that is too long for its field
};
