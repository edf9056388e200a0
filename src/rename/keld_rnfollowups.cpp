// The steps after a rename: write the old id to a property, and start a workflow.

#include <string>

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_ent.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rls.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iInvalidAttribute = 919344;
constexpr int iTargetAttachment = 1;

}  // namespace

// Kept: an earlier value of the property is overwritten; it holds the id from before the latest
// rename alone.
int CKELD_ReName::SaveOldItemIdToAttribute(tag_t tagItem, const char* pcOldId, logical bTestOnly) {
    pcOldId = KELD_RenameText(pcOldId);
    char cType[129] = "";
    KELD_QSK_CALL(ENT_ask_object_type(tagItem, cType));
    char cValue[KELD_RenameValueSize] = "";
    KELD_ReadTypeFirst("SaveOldId", cType, cValue, "");
    if (cValue[0] == '\0')
        return QSK_ok;

    char cPlace[KELD_RenameValueSize] = "";
    char cProperty[KELD_RenameValueSize] = "";
    CKELD_ParamLine line(cValue, '.');
    (void)line.GetParamString(0, cPlace);  // a missing part is empty
    (void)line.GetParamString(1, cProperty);
    CKELD_String::string_to_lower(cPlace);
    tag_t tObject = NULLTAG;
    if (KELD_RenameEqual(cPlace, "im"))
        KELD_QSK_CALL(KELD_GetMasterForm(tagItem, &tObject));
    else if (KELD_RenameEqual(cPlace, "item"))
        tObject = tagItem;
    if (tObject == NULLTAG) {
        // Kept: the type key is named, also when the value came from the plain one.
        const std::string sKey = std::string("SaveOldId.") + cType;
        KELD_ERROR("Invalid Attribute specified %s=%s\n", sKey.c_str(), cValue);
        return iInvalidAttribute;
    }

    KELD_QSK_CALL(OBJ_refresh(tObject, true));
    int iRet = QSK_ok;
    char* pcOldAttrValue = nullptr;
    KELD_CALL(iRet, OBJ_ask_value_string(tObject, cProperty, &pcOldAttrValue));
    if (iRet == QSK_ok && !KELD_RenameEqual(pcOldAttrValue, pcOldId)) {
        KELD_CALL(iRet, OBJ_set_value_string(tObject, cProperty, pcOldId));
        if (iRet == QSK_ok && !bTestOnly)
            KELD_CALL(iRet, OBJ_save(tObject));
    }
    HEAP_free(pcOldAttrValue);
    int iReleased = QSK_ok;
    KELD_CALL(iReleased, OBJ_refresh(tObject, false));
    return iRet != QSK_ok ? iRet : iReleased;
}

int CKELD_ReName::StartWorkflow(tag_t tagItem, tag_t tagRev) {
    tag_t tTarget = tagItem;
    char cObjectType[129] = "";
    KELD_QSK_CALL(ENT_ask_object_type(tagItem, cObjectType));

    // A type key comes before a plain one, and in each pair the revision before the item. Kept: the
    // type is the item's in the keys for a revision too.
    const std::string sType = std::string(".") + cObjectType;
    const struct {
        std::string m_sKey;
        tag_t m_tTarget;
        bool m_bForRevision;
    } keys[] = {
        {"StartWorkflowItemRevision" + sType, tagRev, true},
        {"StartWorkflowItem" + sType, tagItem, false},
        {"StartWorkflowItemRevision", tagRev, true},
        {"StartWorkflowItem", tagItem, false},
    };
    char cStartWorkflowTemplate[KELD_RenameValueSize] = "";
    for (const auto& key : keys) {
        if (key.m_bForRevision && tagRev == NULLTAG)
            continue;
        KELD_ReadRenameSetting(key.m_sKey, cStartWorkflowTemplate, "");
        if (cStartWorkflowTemplate[0] != '\0') {
            tTarget = key.m_tTarget;
            break;
        }
    }
    if (cStartWorkflowTemplate[0] == '\0' || tTarget == NULLTAG)
        return QSK_ok;

    char cObjectName[129] = "";
    char cTargetType[129] = "";
    int iProcessStageCount = 0;
    tag_t* ptProcessStageList = nullptr;
    KELD_QSK_CALL(ENT_ask_name(tTarget, cObjectName));
    KELD_QSK_CALL(ENT_ask_object_type(tTarget, cTargetType));
    KELD_QSK_CALL(OBJ_ask_value_tags(tTarget, "process_stage_list", &iProcessStageCount,
                                     &ptProcessStageList));
    HEAP_free(ptProcessStageList);
    if (iProcessStageCount > 0) {
        KELD_TRACE("%s (object_type: %s) is already in process of beeing released:\n", cObjectName,
                   cTargetType);
        return QSK_ok;
    }
    KELD_TRACE("Start Workflow \"%s\" on %s (object_type: %s) with Jobname %s\n",
               cStartWorkflowTemplate, cObjectName, cTargetType, cObjectName);
    tag_t process_template = NULLTAG;
    tag_t tJobNew = NULLTAG;
    const int attach_types[] = {iTargetAttachment};
    KELD_QSK_CALL(FLOW_find_process_template(cStartWorkflowTemplate, &process_template));
    KELD_QSK_CALL(FLOW_create_process(cObjectName, NULL, process_template, 1, &tTarget,
                                      attach_types, &tJobNew));
    // Kept: a job that can't be refreshed is deleted again, and if that works, the status is 0.
    int iRet = QSK_ok;
    KELD_CALL(iRet, RLS_refresh_job(tJobNew));
    if (iRet != QSK_ok && tJobNew != NULLTAG)
        KELD_CALL(iRet, OBJ_delete(tJobNew));
    return iRet;
}
