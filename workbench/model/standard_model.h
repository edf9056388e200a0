#pragma once

// The data model that every store has.

namespace mervane {

class Model;
void defineStandardModel(Model& model);

}  // namespace mervane
