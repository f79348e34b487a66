#include <register/Property.h>
#include <register/TestRegister.h>

#include <gtest/gtest.h>

using namespace utils::properties;

class Settings : public testing::Test {
protected:
    TestRegister _register;
    const Property<int> _width{"ui/width", 800};
};

TEST_F(Settings, AreKeptByARestart) {
    _width.set(1000);
    _register.restart();
    EXPECT_EQ(_width.value(), 1000);
}

TEST_F(Settings, BeginEmpty) {
    EXPECT_EQ(_width.value(), 800);
}
