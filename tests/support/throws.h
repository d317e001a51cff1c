// tests/support/throws.h: checks that a statement throws a given type with an exact
// what() text.
#ifndef CORVANE_XML_TESTS_SUPPORT_THROWS_H
#define CORVANE_XML_TESTS_SUPPORT_THROWS_H

#include <string>

#include <gtest/gtest.h>

// EXPECT_THROW_WHAT(statement, Type, "text"): statement throws Type (or a subclass)
// whose what() equals text.
#define EXPECT_THROW_WHAT(statement, Type, text)                                  \
  do {                                                                            \
    bool corvane_thrown_ = false;                                                 \
    try {                                                                         \
      statement;                                                                  \
    } catch (const Type& corvane_e_) {                                            \
      corvane_thrown_ = true;                                                     \
      EXPECT_EQ(std::string(text), std::string(corvane_e_.what()));               \
    }                                                                             \
    EXPECT_TRUE(corvane_thrown_) << #statement " did not throw " #Type;           \
  } while (0)

#endif  // CORVANE_XML_TESTS_SUPPORT_THROWS_H
