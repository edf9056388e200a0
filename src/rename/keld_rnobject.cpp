// New name and description of one object, by the modes that are configured for it.

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr std::size_t uiLongestText = KELD_RenameValueSize - 1;
constexpr std::size_t uiLongestName = 128;
constexpr std::size_t uiLongestDesc = 240;

// The ids of a rename; the revision ids count in the extended form alone.
struct Ids {
    bool m_bExtended;
    const char* m_szOldItemId;
    const char* m_szOldRevId;
    const char* m_szNewItemId;
    const char* m_szNewRevId;

    logical Substitute(const char* cOld, char* cNew) const {
        return m_bExtended ? CKELD_ReName::ChangeStringExtended(cOld, m_szOldItemId, m_szOldRevId,
                                                                m_szNewItemId, m_szNewRevId, cNew)
                           : CKELD_ReName::ChangeString(cOld, m_szOldItemId, m_szNewItemId, cNew);
    }
    const char* Function() const {
        return m_bExtended ? "CKELD_ReName::RenameObjExtended" : "CKELD_ReName::RenameObj";
    }
};

// A text of the item, before and after the rename. Without a new one the modes can only substitute
// ids.
struct ItemText {
    const char* m_szOld;
    const char* m_szNew;

    // Take the new text if the object carries the old one. Kept: an empty new text counts.
    logical Take(const char* szText, char* cNew) const {
        if (m_szNew == nullptr || !KELD_RenameEqual(szText, m_szOld))
            return false;
        KELD_RenameCut(cNew, m_szNew, uiLongestText);
        return true;
    }
};

// Make the object's new text by the mode. Returns: whether there is one.
logical ChangeByMode(int iMode, const char* szText, const ItemText& itemText, const Ids& ids,
                     char* cNew) {
    switch (iMode) {
        case 1:
            return ids.Substitute(szText, cNew);
        case 2:
            return ids.Substitute(szText, cNew) || itemText.Take(szText, cNew);
        case 3:
            return itemText.Take(szText, cNew) || ids.Substitute(szText, cNew);
        case 4:
            return itemText.Take(szText, cNew);
        default:
            return false;
    }
}

[[nodiscard]] int RenameByModes(tag_t tagObj, const Ids& ids, logical* p_bChanged,
                                const ItemText& name, const ItemText& desc,
                                const char* cPrimaryType, const char* cRelTypeName) {
    KELD_QSK_CALL(OBJ_refresh(tagObj, false));
    char cObjName[129] = "";
    const int iRetcode = ENT_ask_name(tagObj, cObjName);
    if (iRetcode != QSK_ok) {  // kept: no failure, the object is passed over
        KELD_TRACE("%s: ENT_ask_name von tag=%d iRetcode=%d\n", ids.Function(),
                   static_cast<int>(tagObj), iRetcode);
        return QSK_ok;
    }
    char cObjType[129] = "";
    KELD_QSK_CALL(ENT_ask_object_type(tagObj, cObjType));
    if (ids.m_bExtended)
        KELD_TRACE("CKELD_ReName::RenameObjExtended:%s:%s\n\ttausche:%s und %s->%s und %s\n",
                   cObjType, cObjName, ids.m_szOldItemId, ids.m_szOldRevId, ids.m_szNewItemId,
                   ids.m_szNewRevId);
    else
        KELD_TRACE("CKELD_ReName::RenameObj:%s:%s\n\ttausche:%s->%s\n", cObjType, cObjName,
                   ids.m_szOldItemId, ids.m_szNewItemId);
    int iChangeName = 0;
    int iChangeDesc = 0;
    CKELD_ReName::ReadObjectChangeModes(cPrimaryType, cRelTypeName, cObjType, &iChangeName,
                                        &iChangeDesc);
    // Kept: an object that ends up unchanged keeps this lock.
    if (iChangeName + iChangeDesc > 0)
        KELD_QSK_CALL(OBJ_refresh(tagObj, true));

    logical bSet = false;
    char newName[KELD_RenameValueSize] = "";
    if (ChangeByMode(iChangeName, cObjName, name, ids, newName)) {
        // Kept: the end of a name that has grown too long is lost without a warning.
        KELD_RenameCut(newName, newName, uiLongestName);
        KELD_TRACE("%s set new name=%s\n", ids.Function(), newName);
        KELD_QSK_CALL(ENT_set_name(tagObj, newName));
        bSet = true;
    }
    if (iChangeDesc != 0) {
        char cObjDesc[241] = "";
        char newDesc[KELD_RenameValueSize] = "";
        KELD_QSK_CALL(ENT_ask_description(tagObj, cObjDesc));
        if (ChangeByMode(iChangeDesc, cObjDesc, desc, ids, newDesc)) {
            KELD_RenameCut(newDesc, newDesc, uiLongestDesc);
            KELD_TRACE("%s set new desc=%s\n", ids.Function(), newDesc);
            KELD_QSK_CALL(ENT_set_description(tagObj, newDesc));
            bSet = true;
        }
    }

    if (bSet) {
        logical lIsDataset = false;
        KELD_QSK_CALL(KELD_isObjectOfClass(tagObj, "Dataset", &lIsDataset));
        if (lIsDataset)
            KELD_QSK_CALL(DST_save_myself(tagObj));
        else
            KELD_QSK_CALL(OBJ_save(tagObj));
        KELD_QSK_CALL(OBJ_refresh(tagObj, false));
    }
    if (p_bChanged != nullptr)
        *p_bChanged = bSet;
    return QSK_ok;
}

// The item's texts in the log.
void TraceTexts(const Ids& ids, const ItemText& name, const ItemText& desc) {
    KELD_TRACE("%s: pcOldName=%s\n", ids.Function(), name.m_szOld);
    KELD_TRACE("%s: pcOldDesc=%s\n", ids.Function(), desc.m_szOld);
    KELD_TRACE("%s: pcNewName=%s\n", ids.Function(), name.m_szNew);
    KELD_TRACE("%s: pcNewDesc=%s\n", ids.Function(), desc.m_szNew);
}

}  // namespace

int CKELD_ReName::RenameObj(tag_t tagObj, const char* pcNewId, const char* pcOldId,
                            logical* p_bChanged, const char* pcOldName, const char* pcOldDesc,
                            const char* pcNewName, const char* pcNewDesc, const char* cPrimaryType,
                            const char* cRelTypeName) {
    const Ids ids{false, pcOldId, nullptr, pcNewId, nullptr};
    const ItemText name{pcOldName, pcNewName};
    const ItemText desc{pcOldDesc, pcNewDesc};
    KELD_TRACE("CKELD_ReName::RenameObj: tagObj=%d\n", static_cast<int>(tagObj));
    KELD_TRACE("CKELD_ReName::RenameObj: pcNewId=%s\n", pcNewId);
    KELD_TRACE("CKELD_ReName::RenameObj: pcOldId=%s\n", pcOldId);
    TraceTexts(ids, name, desc);
    return RenameByModes(tagObj, ids, p_bChanged, name, desc, cPrimaryType, cRelTypeName);
}

int CKELD_ReName::RenameObjExtended(tag_t tagObj, const char* pcNewItemId, const char* pcNewRevId,
                                    const char* pcOldItemId, const char* pcOldRevId,
                                    logical* p_bChanged, const char* pcOldName,
                                    const char* pcOldDesc, const char* pcNewName,
                                    const char* pcNewDesc, const char* cPrimaryType,
                                    const char* cRelTypeName) {
    const Ids ids{true, pcOldItemId, pcOldRevId, pcNewItemId, pcNewRevId};
    const ItemText name{pcOldName, pcNewName};
    const ItemText desc{pcOldDesc, pcNewDesc};
    KELD_TRACE("CKELD_ReName::RenameObjExtended: tagObj=%d\n", static_cast<int>(tagObj));
    KELD_TRACE("CKELD_ReName::RenameObjExtended: pcNewItemId=%s\n", pcNewItemId);
    KELD_TRACE("CKELD_ReName::RenameObjExtended: pcNewRevId=%s\n", pcNewRevId);
    KELD_TRACE("CKELD_ReName::RenameObjExtended: pcOldItemId=%s\n", pcOldItemId);
    KELD_TRACE("CKELD_ReName::RenameObjExtended: pcOldRevId=%s\n", pcOldRevId);
    TraceTexts(ids, name, desc);
    return RenameByModes(tagObj, ids, p_bChanged, name, desc, cPrimaryType, cRelTypeName);
}
