// The main function of tests that show windows.
#include <gtest/gtest.h>

#include <QApplication>

int main(int count, char **arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (testing::GTEST_FLAG(list_tests)) // needs no display
        return RUN_ALL_TESTS();
    const QApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
