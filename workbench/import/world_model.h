#pragma once

// The part of a world document that adds to the standard data model.

#include "workbench/import/json_document.h"
#include "workbench/import/json_writer.h"
#include "workbench/store/store.h"

namespace mervane {

// The member "model": what the store has beyond the standard data model.
void writeModel(JsonWriter& json, const Model& model);

// Adds what the store's model doesn't have. Refuses a name that it has with another meaning.
void readModel(const JsonNode& node, Store& store);

// Nearest-name hints for the refusal of an unknown type.
const Type& typeNamed(const JsonNode& node, const Model& model);
const RelationType& relationTypeNamed(const JsonNode& node, const Model& model);

}  // namespace mervane
