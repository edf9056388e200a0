// Release status primitives: every object gets a status object of its own.

#include <cstring>
#include <ctime>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rls.h"
#include "status/keld_statusdate.h"

namespace {

constexpr std::size_t uiNameSize = 129;

// References of an array attribute with the flags that the platform hands out for each.
struct AttrTags {
    tag_t* m_ptTags = nullptr;
    logical* m_plIsNull = nullptr;
    logical* m_plIsEmpty = nullptr;

    void Free() {
        HEAP_free(m_ptTags);
        HEAP_free(m_plIsNull);
        HEAP_free(m_plIsEmpty);
        *this = AttrTags();
    }
};

// Read the first iLength references of an attribute and hand out those that can be loaded. Kept: a
// failure doesn't reach the caller; the list then counts as empty.
void LoadReferences(tag_t object, tag_t tAttr, int iLength, int* piCount, tag_t** ptList) {
    AttrTags tags;
    if (DBO_ask_attr_tags(object, tAttr, 0, iLength, &tags.m_ptTags, &tags.m_plIsNull,
                          &tags.m_plIsEmpty) == QSK_ok) {
        int iLoaded = 0;
        (void)DBO_load_instances_possible(iLength, tags.m_ptTags, &iLoaded, ptList);
        *piCount = iLoaded;
    }
    tags.Free();
}

}  // namespace

// There is nothing to copy, so assigning does nothing.
CKELD_Status& CKELD_Status::operator=(const CKELD_Status&) {
    return *this;
}

// Hand out the loadable status objects of an object; count and list stay untouched if it has none.
int CKELD_Status::GetReleaseStatusTagList(tag_t object, int* count, tag_t** list, int refresh) {
    return KELD_Entry([&] {
        int iNoCount = 0;
        tag_t* ptNoList = nullptr;
        if (refresh != 0)
            KELD_QSK_CALL(OBJ_refresh(object, false));
        // Kept: the handle isn't used, but a platform without the attribute fails here.
        tag_t tNameAttr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("name", "ReleaseStatus", &tNameAttr));
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("release_status_list", "WorkspaceObject", &attr));
        int length = 0;
        (void)DBO_length_of_attr(object, attr, &length);  // a failure counts as an empty list
        if (length < 1)
            return QSK_ok;
        LoadReferences(object, attr, length, count != nullptr ? count : &iNoCount,
                       list != nullptr ? list : &ptNoList);
        HEAP_free(ptNoList);
        return QSK_ok;
    });
}

// Copy the name of a status object. Kept: the class name and the value stay allocated.
int CKELD_Status::GetReleaseStatusRslTag(tag_t status, char* name) {
    return KELD_Entry([&] {
        tag_t tClass = NULLTAG;
        KELD_QSK_CALL(DBO_class_of_instance(status, &tClass));
        char* szClassName = nullptr;
        KELD_QSK_CALL(DBO_name_of_class(tClass, &szClassName));
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("name", "ReleaseStatus", &attr));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &status, DBO_no_lock));
        char* value = nullptr;
        logical isNull = false;
        logical isValid = false;
        KELD_QSK_CALL(DBO_ask_attr_string(status, attr, &value, &isNull, &isValid));
        KELD_CopyText(name, uiNameSize, value, "name");
        return QSK_ok;
    });
}

// Name and date a status object.
int CKELD_Status::SetReleaseStatusRslTag(tag_t status, const char* name, int ownLock) {
    return KELD_Entry([&] {
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("name", "ReleaseStatus", &attr));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &status, DBO_modify_lock));
        KELD_TRACE("Setze Attribut ReleaseStatus  -> %s\n", name);
        if (name == nullptr)
            name = "";
        KELD_QSK_CALL(DBO_set_attr_string(1, &status, attr, name));
        KELD_QSK_CALL(DBO_save_instances(1, &status, false));
        // Kept: after the save, so without ownLock the refresh drops the date again.
        KELD_QSK_CALL(SetRelDate(status, ownLock));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &status, DBO_no_lock));
        return QSK_ok;
    });
}

// Make a status object and append it to the object.
int CKELD_Status::CreateReleaseStatus(tag_t object, tag_t* status, int ownLock) {
    return KELD_Entry([&] {
        tag_t tNoStatus = NULLTAG;
        if (status == nullptr)
            status = &tNoStatus;
        *status = NULLTAG;
        KELD_TRACE("CKELD_Ws::CreateReleaseStatus tag=%d \n", static_cast<int>(object));
        if (ownLock != 0)
            KELD_QSK_CALL(OBJ_refresh(object, true));
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("release_status_list", "WorkspaceObject", &attr));
        KELD_QSK_CALL(RLS_create_release_status("Release Status", status));
        // Kept: the lock is taken here whatever the flag says.
        KELD_QSK_CALL(OBJ_refresh(object, true));
        KELD_QSK_CALL(DBO_append_attr_tags(1, &object, attr, 1, status));
        KELD_QSK_CALL(DBO_save_instances(1, status, true));
        if (ownLock == 0)
            return QSK_ok;
        KELD_QSK_CALL(OBJ_save(object));
        KELD_QSK_CALL(OBJ_refresh(object, false));
        return QSK_ok;
    });
}

// Remove all statuses of an object and delete them.
int CKELD_Status::DelReleaseStatusObj(tag_t object, int ownLock) {
    return KELD_Entry([&] {
        KELD_TRACE("CKELD_Status::DelReleaseStatusObj\n");
        int count = 0;
        tag_t* list = nullptr;
        KELD_QSK_CALL(GetReleaseStatusTagList(object, &count, &list, ownLock));
        if (ownLock != 0)
            KELD_QSK_CALL(OBJ_refresh(object, true));
        if (count > 0) {
            KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_modify_lock));
            tag_t attr = NULLTAG;
            KELD_QSK_CALL(DBO_attr_id_of_attr("release_status_list", "WorkspaceObject", &attr));
            // Kept: as many entries go as could be loaded, so with one that couldn't the last ones
            // stay.
            KELD_QSK_CALL(DBO_remove_from_attr(1, &object, attr, 0, count));
            KELD_QSK_CALL(DBO_save_instances(1, &object, false));
            // Kept: deleted whoever else refers to them; a status made here belongs to one object.
            KELD_QSK_CALL(DBO_delete_instances(count, list));
            HEAP_free(list);
        }
        KELD_QSK_CALL(DelRelDate(object, 0));
        if (ownLock == 0)
            return QSK_ok;
        KELD_QSK_CALL(OBJ_save(object));
        KELD_QSK_CALL(OBJ_refresh(object, false));
        return QSK_ok;
    });
}

// Replace the release state of an object by a status, or clear it with "none".
int CKELD_Status::SetReleaseStatusObj(tag_t object, const char* status) {
    return KELD_Entry([&] {
        tag_t tClass = NULLTAG;
        KELD_QSK_CALL(DBO_class_of_instance(object, &tClass));
        char* className = nullptr;
        KELD_QSK_CALL(DBO_name_of_class(tClass, &className));
        KELD_QSK_CALL(OBJ_refresh(object, true));
        // Kept: an object whose old statuses can't be removed still gets the new one.
        (void)DelReleaseStatusObj(object, 0);
        if (status == nullptr || std::strcmp(status, "none") != 0) {
            tag_t statusTag = NULLTAG;
            KELD_QSK_CALL(CreateReleaseStatus(object, &statusTag, 0));
            // Kept: if it can't be named, the object has a status called "Release Status".
            if (statusTag != NULLTAG)
                (void)SetReleaseStatusRslTag(statusTag, status, 0);
            KELD_QSK_CALL(SetRelDate(object, 0));
        }
        // Kept: compared by name, so a class below Dataset is saved like any other object.
        if (className != nullptr && std::strcmp(className, "Dataset") == 0)
            KELD_QSK_CALL(DST_save_myself(object));
        else
            KELD_QSK_CALL(OBJ_save(object));
        KELD_QSK_CALL(OBJ_refresh(object, false));
        HEAP_free(className);
        return QSK_ok;
    });
}

// The same; the type is only traced.
int CKELD_Status::SetReleaseStatusObj(tag_t object, const char* objectType, const char* status) {
    return KELD_Entry([&] {
        KELD_TRACE("CKELD_Ws::SetReleaseStatusObj tag=%d ObjType=%s ReleaseStatus=%s\n",
                   static_cast<int>(object), objectType, status);
        return SetReleaseStatusObj(object, status);
    });
}

// Set the release date to now.
int CKELD_Status::SetRelDate(tag_t object, int ownLock) {
    return KELD_Entry([&] {
        if (ownLock != 0)
            KELD_QSK_CALL(OBJ_refresh(object, true));
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("date_released", "WorkspaceObject", &attr));
        const date_s date = KELD_LocalDate();
        KELD_QSK_CALL(DBO_set_attr_date(1, &object, attr, date));
        if (ownLock == 0)
            return QSK_ok;
        KELD_QSK_CALL(OBJ_save(object));
        KELD_QSK_CALL(OBJ_refresh(object, false));
        return QSK_ok;
    });
}

// Set the release date to null.
int CKELD_Status::DelRelDate(tag_t object, int ownLock) {
    return KELD_Entry([&] {
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("date_released", "WorkspaceObject", &attr));
        if (ownLock != 0)
            KELD_QSK_CALL(OBJ_refresh(object, true));
        KELD_QSK_CALL(DBO_set_attr_null(1, &object, attr));
        if (ownLock == 0)
            return QSK_ok;
        KELD_QSK_CALL(OBJ_save(object));
        KELD_QSK_CALL(OBJ_refresh(object, false));
        return QSK_ok;
    });
}

// Hand out the loadable workflow tasks of an object.
int CKELD_Status::GetProcessStageTagList(tag_t object, int* count, tag_t** list) {
    return KELD_Entry([&] {
        int iNoCount = 0;
        tag_t* ptNoList = nullptr;
        if (count == nullptr)
            count = &iNoCount;
        *count = 0;
        tag_t attr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("process_stage_list", "WorkspaceObject", &attr));
        int length = 0;
        KELD_QSK_CALL(DBO_length_of_attr(object, attr, &length));
        if (length < 1)
            return QSK_ok;
        LoadReferences(object, attr, length, count, list != nullptr ? list : &ptNoList);
        HEAP_free(ptNoList);
        return QSK_ok;
    });
}

// Copy the name of the last workflow task of an object, if its class is FLOWTask itself.
int CKELD_Status::GetProcessStageObj(tag_t object, char* taskName) {
    return KELD_Entry([&] {
        tag_t taskClass = NULLTAG;
        (void)DBO_class_id_of_class("FLOWTask", &taskClass);  // without the class no entry matches
        int count = 0;
        tag_t* list = nullptr;
        (void)GetProcessStageTagList(object, &count, &list);  // a failure counts as an empty list
        if (count < 1)
            return QSK_ok;
        const tag_t entry = list[count - 1];
        tag_t tClass = NULLTAG;
        KELD_QSK_CALL(DBO_class_of_instance(entry, &tClass));
        char* className = nullptr;
        KELD_QSK_CALL(DBO_name_of_class(tClass, &className));
        HEAP_free(className);
        if (tClass == taskClass) {
            char taskNameBuffer[uiNameSize] = "";
            KELD_QSK_CALL(FLOW_ask_name(entry, taskNameBuffer));
            KELD_DEBUG("CKELD_Status::GetProcessStageObj: TaskName=%s\n", taskNameBuffer);
            KELD_CopyText(taskName, uiNameSize, taskNameBuffer, "taskName");
        }
        HEAP_free(list);
        return QSK_ok;
    });
}
