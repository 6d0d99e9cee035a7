// The main function of every test program that needs Qt: a widget application on the platform that
// the environment specifies (CTest sets "offscreen"), then GoogleTest.

#include <QApplication>

#include <optional>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // The build lists the tests on machines without a display, where no application can be created.
    std::optional<QApplication> application;
    if (!GTEST_FLAG_GET(list_tests))
        application.emplace(argc, argv);
    return RUN_ALL_TESTS();
}
