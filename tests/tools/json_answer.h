/* What every object of the tool begins with, taken off it. */
#ifndef ZV_TESTS_TOOLS_JSON_ANSWER_H
#define ZV_TESTS_TOOLS_JSON_ANSWER_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace zv_test {

/* Checks schema_version, exit and ok, and returns the object without schema_version, command and
 * exit. */
inline nlohmann::json own_members(const std::string &text, int exit_code = 0) {
    nlohmann::json object = nlohmann::json::parse(text, nullptr, false);
    if (!object.is_object()) {
        ADD_FAILURE() << "no object: " << text;
        return {};
    }
    EXPECT_EQ(object.value("schema_version", 0), 1);
    EXPECT_EQ(object.value("exit", -1), exit_code);
    EXPECT_EQ(object.value("ok", exit_code != 0), exit_code == 0);
    EXPECT_TRUE(object.contains("command"));
    object.erase("schema_version");
    object.erase("command");
    object.erase("exit");
    return object;
}

}  // namespace zv_test

#endif
