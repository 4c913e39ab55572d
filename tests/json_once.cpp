#include "tests/json_once.h"

template class nlohmann::basic_json<>;
