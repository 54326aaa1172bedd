#include "KivoUtilities/KVOSmrPtr.h"
#include <gtest/gtest.h>
TEST(Smoke, Builds) { KVOSmrPtr<int> p(new int(3)); EXPECT_EQ(*p, 3); }
