#include "tools/keld/services.h"

namespace keld {

const std::vector<Service>& services() {
    static const std::vector<Service> all = {
        {"KELD_StatusManager",
         "KELD_StatusManager",
         {{"target status", Argues::Status},
          {"object type", Argues::Type},
          {"object", Argues::Object}},
         Slot::Int,
         Holds::OwnStatus,
         true,
         Effects::Store},
        {"KELD_ReNameItem",
         "KELD_ReNameItem",
         {{"new item id", Argues::Text},
          {"new name", Argues::Text},
          {"new description", Argues::Text},
          {"item", Argues::Item}},
         Slot::Int,
         Holds::Returned,
         false,
         Effects::Store},
        {"KELD_ReNameItemExtended",
         "KELD_ReNameItemExtended",
         {{"new item id", Argues::Text},
          {"new revision id", Argues::Text},
          {"new name", Argues::Text},
          {"new description", Argues::Text},
          {"item", Argues::Item},
          {"revision", Argues::Revision},
          {"action", Argues::Bits}},
         Slot::Int,
         Holds::Returned,
         false,
         Effects::Store},
        {"KELD_CopyAttr",
         "KELD_CopyAttr",
         {{"source object", Argues::Object}, {"list of destination objects", Argues::Objects}},
         Slot::Int,
         Holds::Returned,
         false,
         Effects::Store},
        {"KELD_DeleteDeluxe",
         "KELD_DeleteDeluxe",
         {{"objects", Argues::Objects}},
         Slot::Int,
         Holds::Zero,
         false,
         Effects::BackupFiles},
        {"KELD_PSE_PackAndResequenceBom",
         "KELD_PSE_PackAndResequenceBom",
         {{"top line", Argues::Line},
          {"list of lines", Argues::Lines},
          {"depth limit", Argues::Number},
          {"mode", Argues::Number}},
         Slot::Tag,
         Holds::Result,
         false,
         Effects::Store},
        {"KELD_SrvCallCRIFromPortal",
         "KELD_SrvCallCRIFromPortal",
         {{"object types", Argues::Text},
          {"queue", Argues::Text},
          {"job type", Argues::Text},
          {"status", Argues::Text},
          {"options", Argues::Text},
          {"all-types flag", Argues::Truth},
          {"relation", Argues::Relations},
          {"list of objects", Argues::Objects}},
         Slot::Int,
         Holds::Zero,
         false,
         Effects::Store},
        {"KELD_SrvCallCRJFromPortal",
         "KELD_SrvCallCRJFromPortal",
         {{"object types", Argues::Types},
          {"base directory on Windows", Argues::Directory},
          {"base directory elsewhere", Argues::Directory},
          {"job type", Argues::Text},
          {"state", Argues::Text},
          {"options", Argues::Text},
          {"all-types flag", Argues::Truth},
          {"relation types", Argues::Relations},
          {"program", Argues::Program},
          {"list of objects", Argues::Objects}},
         Slot::Int,
         Holds::Zero,
         false,
         Effects::Outside},
        {"KELD_SrvCall",
         "KELD_SrvCall",
         {{"type", Argues::Bits}, {"level", Argues::Number}, {"text", Argues::Text}},
         Slot::Text,
         Holds::Result,
         true,
         Effects::None},
        {"KELD_SrvCallGetEnv",
         "KELD_SrvCallGetEnv",
         {{"name of an environment variable", Argues::Text}},
         Slot::Text,
         Holds::Result,
         false,
         Effects::None},
    };
    return all;
}

const Service* serviceNamed(const std::string& name) {
    for (const Service& service : services())
        if (service.name == name)
            return &service;
    return nullptr;
}

const char* wireKind(Argues argument) {
    switch (argument) {
        case Argues::Number:
        case Argues::Bits:
            return "int";
        case Argues::Object:
        case Argues::Item:
        case Argues::Revision:
        case Argues::Line:
            return "tag";
        case Argues::Objects:
        case Argues::Lines:
            return "tags";
        default:
            return "string";
    }
}

std::string wireKinds(const Service& service) {
    std::string all;
    for (const ServiceArgument& argument : service.arguments)
        all += (all.empty() ? "" : ", ") + std::string(wireKind(argument.as));
    return all;
}

}  // namespace keld
