// The window's tests run in Qt's offscreen platform with preferences in a folder of their own,
// so they need no display and never read or write the person's settings.
#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QTemporaryDir home;
    setenv("XDG_CONFIG_HOME", QDir(home.path()).filePath("config").toUtf8().constData(), 1);
    setenv("XDG_RUNTIME_DIR", home.path().toUtf8().constData(), 1);
    QApplication::setOrganizationName("Velmo");
    QApplication::setApplicationName("VelmoTests");
    QApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    return RUN_ALL_TESTS();
}
