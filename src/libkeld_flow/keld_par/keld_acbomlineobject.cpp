#include "libkeld_flow/keld_par/keld_acbomlineobject.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "libkeld_flow/keld_par/keld_acbomlineattribute.h"
#include "libkeld_flow/keld_par/keld_acproperty.h"
#include "platform/mv_opt.h"

namespace {

constexpr char szNoteTypesKey[] = "PackAndResequenceBOM.NoteTypesToCompare";

}  // namespace

int ACBOMLineObject::m_iNoteTypeNamesToCompareCount = 0;
char** ACBOMLineObject::m_ppcNoteTypeNamesToCompare = nullptr;
char ACBOMLineObject::m_sLogLine[1000] = {};

ACBOMLineObject::ACBOMLineObject(tag_t p_tagBOMLine)
    : m_iCounter(0),
      m_tagBOMLine(p_tagBOMLine),
      m_tagBOMViewRevision(NULLTAG),
      m_sItemId{},
      m_sRevisionId{},
      m_sOldSeqNo{},
      m_sQuantity{},
      m_bCheckedOut(false),
      m_bWriteAccess(false),
      m_sCompareString{},
      m_sNewSeqNo{},
      m_sStatus{} {
    (void)initMembers();
}

ACBOMLineObject::~ACBOMLineObject() = default;

// Read the line. Nothing that can't be read stops the rest.
int ACBOMLineObject::initMembers() {
    KELD_TRACE("ACBOMLineObject::initMembers()\n");
    (void)ACProperty::getStringValue(m_tagBOMLine, "bl_item_item_id", m_sItemId, sizeof(m_sItemId));
    (void)ACProperty::getStringValue(m_tagBOMLine, "bl_rev_item_revision_id", m_sRevisionId,
                                     sizeof(m_sRevisionId));
    (void)ACProperty::getStringValue(m_tagBOMLine, "bl_sequence_no", m_sOldSeqNo,
                                     sizeof(m_sOldSeqNo));
    (void)ACProperty::getStringValue(m_tagBOMLine, "bl_quantity", m_sQuantity, sizeof(m_sQuantity));
    m_sNewSeqNo[0] = '\0';
    m_sCompareString[0] = '\0';
    m_sWholeCompareString.clear();
    m_sStatus[0] = '\0';
    m_iCounter = 0;

    ACBOMLineAttribute attribute(m_tagBOMLine);
    (void)attribute.getBOMViewRevision(&m_tagBOMViewRevision);
    if (m_tagBOMViewRevision != NULLTAG) {
        m_bCheckedOut = attribute.m_bCheckedOut;
        m_bWriteAccess = attribute.m_bWriteAccess;
    } else {
        m_bCheckedOut = false;
        m_bWriteAccess = true;  // without a view there is nothing to protect
    }
    return QSK_ok;
}

// Give a line that kept its number its word for the protocol. Kept: a view that is checked out but
// writable is "use existing".
int ACBOMLineObject::initSequencingStatus() {
    KELD_TRACE("ACBOMLineObject::initSequencingStatus()\n");
    if (m_sStatus[0] == '\0')
        setStatus(m_bCheckedOut && !m_bWriteAccess ? "checked out" : "use existing");
    return QSK_ok;
}

// Build the component key.
int ACBOMLineObject::initCompareString() {
    std::string sKey = m_sItemId;
    sKey += "###";
    const int iCount = getNoteTypeNamesToCompareCount();
    for (int i = 0; i < iCount; ++i) {
        std::string sValue;
        (void)ACProperty::getStringValue(m_tagBOMLine, m_ppcNoteTypeNamesToCompare[i], &sValue);
        sKey += sValue;
        sKey += "###";
    }
    // The key is compared whole, also where the field can't hold it.
    const std::size_t uiLength = std::min(sKey.size(), sizeof(m_sCompareString) - 1);
    std::memcpy(m_sCompareString, sKey.data(), uiLength);
    m_sCompareString[uiLength] = '\0';
    if (uiLength < sKey.size())
        m_sWholeCompareString = std::move(sKey);
    return QSK_ok;
}

// Kept: read once, so a changed preference takes effect when the process is started again.
int ACBOMLineObject::initNoteTypesToCompare(const char*) {
    KELD_TRACE("ACBOMLineObject::initNoteTypesToCompare()\n");
    KELD_QSK_CALL(OPT_ask_char_values("PackAndResequenceBOM.NoteTypesToCompare",
                                      &m_iNoteTypeNamesToCompareCount,
                                      &m_ppcNoteTypeNamesToCompare));
    return QSK_ok;
}

// Give the number of notes that take part in the key. Kept: while there are none, each line looks
// for them again and logs the error again.
int ACBOMLineObject::getNoteTypeNamesToCompareCount() {
    if (m_iNoteTypeNamesToCompareCount == 0)
        (void)initNoteTypesToCompare(szNoteTypesKey);
    if (m_iNoteTypeNamesToCompareCount == 0)
        KELD_ERROR("Pref:%s not set\n", szNoteTypesKey);
    return m_iNoteTypeNamesToCompareCount;
}

tag_t ACBOMLineObject::getBOMLineTag() {
    return m_tagBOMLine;
}

const char* ACBOMLineObject::getItemId() {
    return m_sItemId;
}

const char* ACBOMLineObject::getRevisionId() {
    return m_sRevisionId;
}

const char* ACBOMLineObject::getSeqNo() {
    return m_sNewSeqNo[0] != '\0' ? m_sNewSeqNo : m_sOldSeqNo;
}

void ACBOMLineObject::setNewSeqNo(const char* p_sSeqNo) {
    setStatus("modified");  // kept: also when the line has this number already
    KELD_CopyText(m_sNewSeqNo, p_sSeqNo, "m_sNewSeqNo");
}

void ACBOMLineObject::setStatus(const char* p_sStatus) {
    KELD_CopyText(m_sStatus, p_sStatus, "m_sStatus");
}

const char* ACBOMLineObject::getStatus() {
    if (m_sStatus[0] == '\0')
        (void)initSequencingStatus();
    return m_sStatus;
}

const char* ACBOMLineObject::getCompareString() {
    if (m_sCompareString[0] == '\0')
        (void)initCompareString();
    return m_sWholeCompareString.empty() ? m_sCompareString : m_sWholeCompareString.c_str();
}

logical ACBOMLineObject::hasNoWriteAccess() {
    return !m_bWriteAccess;
}

const char* ACBOMLineObject::getLogLine() {
    std::snprintf(m_sLogLine, sizeof(m_sLogLine), "\t\t%s/%s\t\t%s\t\t%s\t\t%s\n", m_sItemId,
                  m_sRevisionId, m_sOldSeqNo, m_sNewSeqNo, getStatus());
    return m_sLogLine;
}
