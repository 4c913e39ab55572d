// json_once.h - keeps the files of a test from compiling the members of nlohmann::json again: they
// are in json_once.cpp. Included through the precompiled header alone.
#ifndef ZV_TESTS_JSON_ONCE_H
#define ZV_TESTS_JSON_ONCE_H

#include <nlohmann/json.hpp>

extern template class nlohmann::basic_json<>;

#endif
