#include "theme/Theme.h"

#include "core/Logging.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"

#include <QApplication>
#include <QPalette>

#include <array>

namespace velmo::theme {

namespace {

constexpr int baseFontPixels = 13;

struct PaletteEntry {
    QPalette::ColorGroup group;
    QPalette::ColorRole role;
    QColor color;
};

constexpr std::array<PaletteEntry, 14> paletteEntries = {{
    {QPalette::All, QPalette::Window, color::ink},
    {QPalette::All, QPalette::WindowText, color::text},
    {QPalette::All, QPalette::Base, color::panelSunken},
    {QPalette::All, QPalette::AlternateBase, color::panel},
    {QPalette::All, QPalette::Text, color::text},
    {QPalette::All, QPalette::PlaceholderText, color::textDim},
    {QPalette::All, QPalette::Button, color::panel},
    {QPalette::All, QPalette::ButtonText, color::text},
    {QPalette::All, QPalette::Highlight, color::accent},
    {QPalette::All, QPalette::HighlightedText, color::ink},
    {QPalette::All, QPalette::ToolTipBase, color::panelRaised},
    {QPalette::All, QPalette::ToolTipText, color::text},
    {QPalette::Disabled, QPalette::Text, color::textDim},
    {QPalette::Disabled, QPalette::ButtonText, color::textDim},
}};

QPalette launcherPalette()
{
    QPalette palette;
    for (const PaletteEntry &entry : paletteEntries) {
        palette.setBrush(entry.group, entry.role, QBrush(entry.color, Qt::SolidPattern));
    }
    return palette;
}

} // namespace

void Theme::apply()
{
    loadBundledFonts();
    qCInfo(lcUi) << "Type:" << titleFamily() << "/" << displayFamily() << "/" << bodyFamily() << "/" << monoFamily();
    QApplication::setPalette(launcherPalette());
    // The only place of the base font: one on a blanket stylesheet rule would flatten every setFont of the program.
    QApplication::setFont(bodyFont(baseFontPixels, QFont::Normal));
    qApp->setStyleSheet(loadStylesheet());
}

} // namespace velmo::theme
