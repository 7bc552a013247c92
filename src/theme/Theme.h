#pragma once

namespace velmo::theme {

/// The application's look as a whole.
class Theme {
public:
    /// Installs fonts, palette, base font and stylesheet. Called once, before any widget is built; GUI thread only.
    static void apply();
};

} // namespace velmo::theme
