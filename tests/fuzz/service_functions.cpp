// The functions that are called with parameters: nulls and texts of any length where the header
// allows them.

#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "tests/fuzz/service_world.h"

namespace {

// Null at times; the text stays good until the next input.
class Texts {
public:
    explicit Texts(fuzz::Decisions& from) : from_(from) {}
    const char* some() { return from_.oneIn(10) ? nullptr : keep(from_.word()); }
    const char* status() { return keep(fuzz::ServiceWorld::status(from_)); }
    template <typename List>
    const char* oneOf(List& list) {
        return keep(from_.wordOf(list));
    }
    const char* type() { return keep(fuzz::ServiceWorld::type(from_)); }

private:
    const char* keep(const std::string& text) {
        kept_.push_back(std::make_unique<fuzz::Text>(text));
        return kept_.back()->data();
    }

    fuzz::Decisions& from_;
    std::vector<std::unique_ptr<fuzz::Text>> kept_;
};

void callStatus(fuzz::ServiceWorld& world, fuzz::Decisions& from, Texts& texts) {
    const tag_t object = world.object(from);
    const int own = static_cast<int>(from.below(2));
    fuzz::Room name(129);
    int count = 0;
    tag_t* list = nullptr;
    tag_t made = NULLTAG;
    switch (from.below(10)) {
        case 0:
            (void)CKELD_Status::GetReleaseStatusTagList(object, &count, &list, own);
            fuzz::require(count >= 0 && (count == 0 || list != nullptr), "a count has a list");
            break;
        case 1:
        case 2: {
            (void)CKELD_Status::GetReleaseStatusTagList(object, &count, &list, own);
            const tag_t status = count > 0 ? list[0] : world.object(from);
            if (from.oneIn(2))
                (void)CKELD_Status::SetReleaseStatusRslTag(status, texts.some(), own);
            if (CKELD_Status::GetReleaseStatusRslTag(status, name.data()) == 0)
                fuzz::require(name.isText(), "the name ends within its room");
            break;
        }
        case 3:
            if (CKELD_Status::CreateReleaseStatus(object, &made, own) == 0)
                fuzz::require(made != NULLTAG, "a status is made");
            break;
        case 4:
            (void)CKELD_Status::DelReleaseStatusObj(object, own);
            break;
        case 5:
            (void)CKELD_Status::SetReleaseStatusObj(object, texts.status());
            break;
        case 6:
            (void)CKELD_Status::SetReleaseStatusObj(object, texts.type(), texts.status());
            break;
        case 7:
            (void)(own != 0 ? CKELD_Status::SetRelDate(object, 1)
                            : CKELD_Status::DelRelDate(object, 1));
            break;
        case 8:
            (void)CKELD_Status::GetProcessStageTagList(object, &count, &list);
            fuzz::require(count >= 0 && (count == 0 || list != nullptr), "a count has a list");
            break;
        default:
            if (CKELD_Status::GetProcessStageObj(object, name.data()) == 0)
                fuzz::require(name.isText() || name.isUntouched(), "the task ends within its room");
    }
    HEAP_free(list);
}

void setFormValue(fuzz::ServiceWorld& world, fuzz::Decisions& from, Texts& texts) {
    static constexpr const char* kinds[] = {"Value", "Prop",     "PropMF",   "UserId",   "UserName",
                                            "Group", "Str_Date", "Del_Date", "Date_Date"};
    static constexpr const char* values[] = {
        "user_data_1=x;user_data_2=y", "user_data_1", "user_data_1;user_data_2;user_data_3",
        "user_data_1=object_desc;user_data_2=item_id", "user_data_1=%d.%m.%Y;user_data_2=%s%n"};
    const tag_t form = world.form(from);
    (void)OBJ_lock(form);
    const char* const config = from.oneIn(4) ? texts.some() : texts.oneOf(values);
    (void)KELD_SetFormValue_byType(form, world.object(from), config,
                                   from.oneIn(10) ? texts.some() : from.pick(kinds), from.oneIn(2));
    if (from.oneIn(2))
        (void)OBJ_save(form);
    (void)OBJ_refresh(form, false);
}

void callPreparedStatus(fuzz::ServiceWorld& world, fuzz::Decisions& from, Texts& texts) {
    const auto use = [&](CKELD_Status1&& status) {
        for (std::size_t left = from.below(4); left > 0; --left)
            (void)(from.oneIn(3) ? status.DelAllState(world.object(from))
                                 : status.Set(world.object(from)));
    };
    if (from.oneIn(2))
        use(CKELD_Status1(from.oneIn(2) ? texts.status() : texts.some()));
    else
        use(CKELD_Status1(texts.status(), texts.some()));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr const char* ids[] = {"000001", "000002", "000003"};
    static constexpr const char* revisions[] = {"", "A", "B"};
    fuzz::ServiceWorld& world = fuzz::serviceWorld();
    fuzz::Decisions from(data, size);
    Texts texts(from);
    world.beforeCall();
    world.configure(from);
    std::vector<tag_t> objects = world.objects(from);
    const int count = static_cast<int>(objects.size());
    const char* t[12];
    for (const char*& each : t)
        each = texts.some();
    tag_t dataset = NULLTAG;
    switch (from.below(7)) {
        case 0:
            (void)KELD_StatusManager_ManageStatus(world.revision(from),
                                                  from.oneIn(4) ? t[0] : texts.type(),
                                                  from.oneIn(4) ? t[1] : texts.status());
            break;
        case 1:
            setFormValue(world, from, texts);
            break;
        case 2:
            (void)KELD_BatchReName(from.oneIn(3) ? t[0] : from.pick(ids),
                                   from.oneIn(3) ? t[1] : from.pick(revisions), t[2], t[3], t[4],
                                   t[5]);
            break;
        case 3:
            (void)KELD_createJobItem(count, objects.data(), world.object(from), t[0], t[1],
                                     from.oneIn(2), from.oneIn(2), t[2], t[3], t[4], t[5], t[6],
                                     t[7], t[8]);
            break;
        case 4:
            // An object that isn't a line is reported with the whole error stack, so mostly use
            // lines.
            if (!from.oneIn(20))
                objects = world.lines(from);
            fuzz::require(KELD_PSE_PackAndResequenceBom2(
                              world.line(from), static_cast<int>(objects.size()), objects.data(),
                              from.number(), from.number(), &dataset) == 0,
                          "the pack returns 0");
            break;
        case 5:
            callStatus(world, from, texts);
            break;
        default:
            callPreparedStatus(world, from, texts);
    }
    world.afterCall(-1, false);
    return 0;
}
