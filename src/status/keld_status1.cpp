// A prepared release status: one status object that is set on any number of objects.

#include <cstring>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rls.h"
#include "platform/mv_time.h"
#include "status/keld_statusdate.h"

// Prepare a status with the current local time.
CKELD_Status1::CKELD_Status1(const char* status)
    : _cState{},
      _tagRelState(NULLTAG),
      _dateRelease(KELD_LocalDate()),
      _tagReleaseStatusAttribute(NULLTAG),
      _tagReleaseDateAttribute(NULLTAG) {
    (void)Init(status);  // a failure shows in the missing status object
}

// Prepare a status with a date of the form day.month.year; midnight, whatever the text says.
CKELD_Status1::CKELD_Status1(const char* status, const char* date)
    : _cState{},
      _tagRelState(NULLTAG),
      _dateRelease{},
      _tagReleaseStatusAttribute(NULLTAG),
      _tagReleaseDateAttribute(NULLTAG) {
    int iRet = QSK_ok;
    // Kept: used if the text can't be read, though month 1 is February.
    int year = 1970, month = 1, day = 1;
    int hour = 0, minute = 0, second = 0;
    if (date == nullptr)
        date = "";
    (void)KELD_Entry([&] {
        KELD_CALL(iRet, TIME_string_to_date(date, "%d.%m.%Y", &month, &day, &year, &hour, &minute,
                                            &second));
        return iRet;
    });
    _dateRelease.year = static_cast<std::int16_t>(year);
    _dateRelease.month = static_cast<std::uint8_t>(month);
    _dateRelease.day = static_cast<std::uint8_t>(day);
    (void)Init(status);
}

// Prepare a status with the given date.
CKELD_Status1::CKELD_Status1(const char* status, const date_s* date)
    : _cState{},
      _tagRelState(NULLTAG),
      _dateRelease(date != nullptr ? *date : date_s{}),
      _tagReleaseStatusAttribute(NULLTAG),
      _tagReleaseDateAttribute(NULLTAG) {
    (void)Init(status);
}

// Delete the status object if no object refers to it.
CKELD_Status1::~CKELD_Status1() {
    if (_tagRelState != NULLTAG)
        (void)DelRelTagOnNotReferenze(_tagRelState);
}

// Kept: copied bytewise, so both instances own the same status object, and each destructor asks
// whether it is in use.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): memmove takes an object itself.
CKELD_Status1& CKELD_Status1::operator=(const CKELD_Status1& other) {
    std::memmove(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(*this));
    return *this;
}

// Make the status object and give it name and date.
int CKELD_Status1::Init(const char* status) {
    return KELD_Entry([&] {
        _tagRelState = NULLTAG;
        if (status == nullptr || status[0] == '\0') {
            KELD_CopyText(_cState, "KELD_UNDEF_OR_EMPTY_STATE_DEF", "_cState");
            KELD_WARNING("CKELD_Status1::Init empty Status\n");
            return QSK_ok;
        }
        if (std::strlen(status) >= sizeof(_cState)) {
            KELD_CopyText(_cState, "KELD_TO_LONG_STATE_DEF", "_cState");
            KELD_ERROR("CKELD_Status1::Init Status to long:%s\n", status);
            return QSK_ok;
        }
        KELD_CopyText(_cState, status, "_cState");
        tag_t nameAttr = NULLTAG;
        KELD_QSK_CALL(DBO_attr_id_of_attr("release_status_list", "WorkspaceObject",
                                          &_tagReleaseStatusAttribute));
        KELD_QSK_CALL(DBO_attr_id_of_attr("name", "ReleaseStatus", &nameAttr));
        KELD_QSK_CALL(
            DBO_attr_id_of_attr("date_released", "WorkspaceObject", &_tagReleaseDateAttribute));
        if (std::strcmp(status, "none") == 0)
            return QSK_ok;
        KELD_QSK_CALL(RLS_create_release_status("Release Status", &_tagRelState));
        KELD_QSK_CALL(DBO_set_attr_string(1, &_tagRelState, nameAttr, _cState));
        KELD_QSK_CALL(DBO_set_attr_date(1, &_tagRelState, _tagReleaseDateAttribute, _dateRelease));
        KELD_QSK_CALL(DBO_save_instances(1, &_tagRelState, false));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &_tagRelState, DBO_no_lock));
        return QSK_ok;
    });
}

// Give an object this status, alone.
int CKELD_Status1::Set(tag_t object) {
    return KELD_Entry([&] {
        if (std::strcmp(_cState, "none") == 0) {
            (void)DelAllState(object);  // kept: a status that couldn't be removed is no failure
            return QSK_ok;
        }
        if (_tagRelState == NULLTAG) {
            KELD_WARNING("CKELD_Status1::Set _tagRelState==NULLTAG (not init)\n");
            return QSK_ok;
        }
        (void)DelAllState(object);  // an object whose old statuses stay still gets the new one
        logical modifiable = false;
        KELD_QSK_CALL(OBJ_ask_if_modifiable(object, &modifiable));
        if (!modifiable) {
            // Kept: the object stays without the status, and the caller hears of success.
            KELD_ERROR("CKELD_Status1::Set Object not modifiable\n");
            return QSK_ok;
        }
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_modify_lock));
        KELD_QSK_CALL(
            DBO_append_attr_tags(1, &object, _tagReleaseStatusAttribute, 1, &_tagRelState));
        KELD_QSK_CALL(DBO_set_attr_date(1, &object, _tagReleaseDateAttribute, _dateRelease));
        KELD_QSK_CALL(DBO_save_instances(1, &object, false));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_no_lock));
        return QSK_ok;
    });
}

// Remove all statuses and the date from an object. Kept: a failure leaves the lock and the lists.
int CKELD_Status1::DelAllState(tag_t object) {
    return KELD_Entry([&] {
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_no_lock));
        int length = 0;
        KELD_QSK_CALL(DBO_length_of_attr(object, _tagReleaseStatusAttribute, &length));
        if (length == 0)
            return QSK_ok;
        logical modifiable = false;
        KELD_QSK_CALL(OBJ_ask_if_modifiable(object, &modifiable));
        if (!modifiable) {
            KELD_ERROR("CKELD_Status1::DelAllState Object not modifiable\n");
            return QSK_ok;
        }
        tag_t* tags = nullptr;
        logical* isNull = nullptr;
        logical* isEmpty = nullptr;
        KELD_QSK_CALL(DBO_ask_attr_tags(object, _tagReleaseStatusAttribute, 0, length, &tags,
                                        &isNull, &isEmpty));
        int loaded = 0;
        tag_t* loadedTags = nullptr;
        KELD_QSK_CALL(DBO_load_instances_possible(length, tags, &loaded, &loadedTags));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_modify_lock));
        // Kept: as many entries go as could be loaded, so with one that couldn't the last ones
        // stay.
        KELD_QSK_CALL(DBO_remove_from_attr(1, &object, _tagReleaseStatusAttribute, 0, loaded));
        KELD_QSK_CALL(DBO_set_attr_null(1, &object, _tagReleaseDateAttribute));
        KELD_QSK_CALL(DBO_save_instances(1, &object, false));
        KELD_QSK_CALL(DBO_refresh_instances_any_class(1, &object, DBO_no_lock));
        for (int i = 0; i < loaded; ++i)
            (void)DelRelTagOnNotReferenze(loadedTags[i]);  // one that stays does no harm
        HEAP_free(tags);
        HEAP_free(isNull);
        HEAP_free(isEmpty);
        HEAP_free(loadedTags);
        return QSK_ok;
    });
}

// Delete a status object if nothing refers to it.
int CKELD_Status1::DelRelTagOnNotReferenze(tag_t status) {
    return KELD_Entry([&] {
        int count = 0;
        tag_t* instances = nullptr;
        int* instanceLevels = nullptr;
        int* instanceWhereFound = nullptr;
        int classCount = 0;
        tag_t* classes = nullptr;
        int* classLevels = nullptr;
        int* classWhereFound = nullptr;
        KELD_QSK_CALL(DBO_referencers_of_instance(status, 1, DBO_in_ds_and_db, &count, &instances,
                                                  &instanceLevels, &instanceWhereFound, &classCount,
                                                  &classes, &classLevels, &classWhereFound));
        // Kept: the four lists of levels and places stay allocated.
        HEAP_free(instances);
        HEAP_free(classes);
        if (count != 0)
            return QSK_ok;
        KELD_TRACE("Delete StausObject\n");
        KELD_QSK_CALL(DBO_delete_instances(1, &status));
        return QSK_ok;
    });
}
