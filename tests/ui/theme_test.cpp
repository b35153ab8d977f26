// The bundled font is the one drawn, whatever fonts the machine has.
#include "ui/Theme.h"
#include "support/TestSupport.h"

#include <QFontInfo>

namespace pelix::ui {
namespace {

TEST(Theme, EveryTextStyleUsesTheBundledFont) {
    ASSERT_TRUE(theme::loadFonts());
    using theme::Type;
    for (Type type :
         {Type::caption, Type::small, Type::body, Type::title, Type::heading, Type::display}) {
        const QFont font = theme::font(type);
        const QFontInfo used(font);
        EXPECT_EQ(used.family(), QLatin1String(theme::kFamily)) << int(type);
        EXPECT_EQ(used.weight(), font.weight()) << int(type);
        EXPECT_EQ(used.pixelSize(), font.pixelSize()) << int(type);
    }
}

}  // namespace
}  // namespace pelix::ui
