// A test fixture with a fresh registry and three binary variables x, y, z.
#pragma once

#include <gtest/gtest.h>

#include "vexa/var.h"

namespace vexa::test {

class ThreeVars : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        x = vexa_new_var("x");
        y = vexa_new_var("y");
        z = vexa_new_var("z");
    }
    uint32_t x = 0, y = 0, z = 0;
};

}  // namespace vexa::test
