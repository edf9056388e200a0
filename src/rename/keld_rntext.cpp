// The substitution of ids in texts: plain and case-sensitive, the first occurrence alone.

#include <cstring>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

// Texts are built at their full length and bounded only in the caller's buffer.
void Deliver(const std::string& sText, char* cNew) {
    KELD_CopyText(cNew, KELD_RenameValueSize, sText.c_str(), "cNew");
}

}  // namespace

logical CKELD_ReName::ChangeString(const char* cOld, const char* cOldId, const char* cNewId,
                                   char* cNew) {
    const std::string sOld = KELD_RenameText(cOld);
    const std::string sOldId = KELD_RenameText(cOldId);
    const std::size_t uiHit = sOld.find(sOldId);
    if (cNew == nullptr)
        return uiHit != std::string::npos;
    cNew[0] = '\0';
    KELD_TRACE("CKELD_ReName::ChangeString: cOld=%s\n", cOld);
    KELD_TRACE("CKELD_ReName::ChangeString: cOldId=%s\n", cOldId);
    KELD_TRACE("CKELD_ReName::ChangeString: cNewId=%s\n", cNewId);
    // Kept: a hit counts also if both ids are equal, so the object is saved with its old text.
    if (uiHit == std::string::npos)
        Deliver(sOld, cNew);
    else
        Deliver(
            sOld.substr(0, uiHit) + KELD_RenameText(cNewId) + sOld.substr(uiHit + sOldId.size()),
            cNew);
    KELD_TRACE("CKELD_ReName::ChangeString: cNew=%s\n", cNew);
    return uiHit != std::string::npos;
}

logical CKELD_ReName::ChangeStringExtended(const char* cOld, const char* cOldItemId,
                                           const char* cOldRevId, const char* cNewItemId,
                                           const char* cNewRevId, char* cNew) {
    const std::string sOld = KELD_RenameText(cOld);
    const std::string sOldItemId = KELD_RenameText(cOldItemId);
    const std::size_t uiHit = sOld.find(sOldItemId);
    if (cNew == nullptr)
        return uiHit != std::string::npos;
    cNew[0] = '\0';
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cOld=%s\n", cOld);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cOldItemId=%s\n", cOldItemId);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cOldRevId=%s\n", cOldRevId);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cNewItemId=%s\n", cNewItemId);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cNewRevId=%s\n", cNewRevId);
    if (uiHit == std::string::npos) {
        // Kept: without the item id the revision id isn't looked for.
        Deliver(sOld, cNew);
        KELD_TRACE("CKELD_ReName::ChangeStringExtended: cNew=cOld=%s\n", cNew);
        return false;
    }
    std::string sNew = sOld.substr(0, uiHit);
    if (!sNew.empty())
        KELD_TRACE("CKELD_ReName::ChangeStringExtended: strncpy cNew=%s\n", sNew.c_str());
    sNew += KELD_RenameText(cNewItemId);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: strcat cNew=%s\n", sNew.c_str());

    const std::string sSub = sOld.substr(uiHit + sOldItemId.size());
    const char* const cSub = sSub.c_str();
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: cSub=%s\n", cSub);
    char cSubNew[KELD_RenameValueSize] = "";
    sNew += ChangeString(cSub, cOldRevId, cNewRevId, cSubNew) ? cSubNew : cSub;
    Deliver(sNew, cNew);
    KELD_TRACE("CKELD_ReName::ChangeStringExtended: strcat cNew=%s\n", cNew);
    return true;
}
