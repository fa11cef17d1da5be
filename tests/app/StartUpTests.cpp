// What the environment decides when the window starts: VELMO_TAB opens a tab only by its exact
// title, and VELMO_APPEARANCE is only the default for an appearance the person has not chosen.
#include "AppRig.h"
#include "Appearance.h"
#include "Theme.h"

#include <QSettings>

#include <gtest/gtest.h>

#include <cstdlib>

namespace velmo {
namespace {

TEST(StartUp, VELMO_TABOpensATabByItsExactTitle) {
    struct Case {
        const char* value;
        EditorTab tab;
    } cases[] = {{"Synth", EditorTab::synth}, {"Agent", EditorTab::agent}, {"synth", EditorTab::notes},
                 {"Mixer", EditorTab::notes}, {"", EditorTab::notes}};
    for (const Case& c : cases) {
        setenv("VELMO_TAB", c.value, 1);
        QtMainQueue queue;
        AppModel model(queue, 0, rigSong());
        EXPECT_EQ(model.editorTab(), c.tab) << '"' << c.value << '"';
    }
    unsetenv("VELMO_TAB");
}

TEST(StartUp, VELMO_APPEARANCEIsTheDefaultUntilOneIsChosen) {
    QSettings().remove("appearance");
    unsetenv("VELMO_APPEARANCE");
    EXPECT_EQ(Appearance::current(), "system");
    setenv("VELMO_APPEARANCE", "dark", 1);
    EXPECT_EQ(Appearance::current(), "dark");
    Appearance::set("light");
    EXPECT_EQ(Appearance::current(), "light") << "the person's choice wins over the environment";
    EXPECT_FALSE(Theme::dark());
    unsetenv("VELMO_APPEARANCE");
    QSettings().remove("appearance");
}

} // namespace
} // namespace velmo
