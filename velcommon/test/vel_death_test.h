// VEL_EXPECT_FATAL: a statement must end the program with a message that holds a text, taken
// literally.
#pragma once

#include <gtest/gtest.h>
#include <string>

/// Every character of text that a regular expression of GoogleTest's could take for an operator,
/// escaped.
inline std::string vel_death_test_literal(const std::string &text)
{
    std::string escaped;
    for (const char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos)
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

#define VEL_EXPECT_FATAL(statement, text) EXPECT_DEATH(statement, vel_death_test_literal(text))
