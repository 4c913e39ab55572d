#include "tests/fire/model/model.h"

namespace zv_model {

struct Model::State {};

Model::Model() : state_(std::make_unique<State>()) {}
Model::~Model() = default;
Model::Model(const Model &other) : state_(std::make_unique<State>(*other.state_)) {}
Model &Model::operator=(const Model &other) {
    *state_ = *other.state_;
    return *this;
}
Outcome Model::serve(const Request &, const std::vector<Call> &) { return {}; }
std::string Model::dump() const { return ""; }
nlohmann::json Model::cache() const { return nlohmann::json::object(); }

}  // namespace zv_model
