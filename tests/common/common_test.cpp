#include <gtest/gtest.h>
TEST(Placeholder, Empty) {}
