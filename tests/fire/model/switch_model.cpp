#include "tests/fire/model/model.h"

namespace zv_model {

void SwitchModel::add(const Call &) {}
nlohmann::json SwitchModel::state() const { return state_; }

}  // namespace zv_model
