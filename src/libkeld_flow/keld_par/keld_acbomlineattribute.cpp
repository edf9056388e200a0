#include "libkeld_flow/keld_par/keld_acbomlineattribute.h"

#include "frame/keld_trace.h"
#include "platform/mv_acl.h"
#include "platform/mv_art.h"
#include "platform/mv_cko.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"

ACBOMLineAttribute::ACBOMLineAttribute(tag_t p_tagBOMLine)
    : m_tagBOMLine(p_tagBOMLine),
      m_tagBOMViewRevision(NULLTAG),
      m_bCheckedOut(false),
      m_bWriteAccess(false) {
    (void)initMembers();  // a line that can't be asked is one without a view
}

ACBOMLineAttribute::~ACBOMLineAttribute() = default;

// Find the view and ask whether it may be written.
int ACBOMLineAttribute::initMembers() {
    KELD_QSK_CALL(getBOMViewRevision(&m_tagBOMViewRevision));
    if (m_tagBOMViewRevision == NULLTAG)
        return QSK_ok;
    KELD_QSK_CALL(CKO_is_checked_out(m_tagBOMViewRevision, &m_bCheckedOut));
    KELD_QSK_CALL(ACL_check_privilege(m_tagBOMViewRevision, "WRITE", &m_bWriteAccess));
    return QSK_ok;
}

// Read a tag-valued attribute of the line by its name.
int ACBOMLineAttribute::getBOMLineAttributeTag(const char* p_sName, tag_t* p_ptag) {
    int id = 0;
    *p_ptag = NULLTAG;
    KELD_QSK_CALL(LINE_look_up_attribute(p_sName, &id));
    KELD_QSK_CALL(LINE_ask_attribute_tag(m_tagBOMLine, id, p_ptag));
    return QSK_ok;
}

int ACBOMLineAttribute::getItemRevision(tag_t* p_ptag) {
    return getBOMLineAttributeTag("bl_revision", p_ptag);
}

// Find the view below the line, the quickest way first.
int ACBOMLineAttribute::getBOMViewRevision(tag_t* p_ptag) {
    *p_ptag = NULLTAG;
    KELD_QSK_CALL(getBOMLineAttributeTag("bl_bomview_rev", p_ptag));
    if (*p_ptag != NULLTAG)
        return QSK_ok;

    tag_t tagRevision = NULLTAG;
    KELD_QSK_CALL(getItemRevision(&tagRevision));
    if (tagRevision == NULLTAG)
        return QSK_ok;

    tag_t tagViewClass = NULLTAG;
    tag_t tagViewRevisionClass = NULLTAG;
    KELD_QSK_CALL(DBO_class_id_of_class("STRBOMView", &tagViewClass));
    KELD_QSK_CALL(DBO_class_id_of_class("STRBOMViewRevision", &tagViewRevisionClass));

    int iCount = 0;
    tag_t* ptagViews = nullptr;
    KELD_QSK_CALL(ART_rev_list_bom_view_revs(tagRevision, &iCount, &ptagViews));
    for (int i = 0; i < iCount; ++i) {
        tag_t tagClass = NULLTAG;
        // Kept: a failure leaves the list allocated.
        KELD_QSK_CALL(DBO_class_of_instance(ptagViews[i], &tagClass));
        if (tagClass == tagViewClass || tagClass == tagViewRevisionClass) {
            *p_ptag = ptagViews[i];
            break;
        }
    }
    HEAP_free(ptagViews);
    return QSK_ok;
}
