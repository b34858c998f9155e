// ApplicationColours.h: the program's light or dark colours and its accent, as the user wants all programs to be.
#pragma once

#include "platform/Appearance.h"

namespace quillet {

/// While it lives, the application's palette follows the desktop: at once what is known without asking, and every
/// answer and change as it comes. A palette that the toolkit has from the desktop is kept where its scheme is the
/// wanted one.
///
/// Threads: main, with a QApplication that outlives it.
class ApplicationColours {
public:
    ApplicationColours();
    ApplicationColours(const ApplicationColours&) = delete;
    ApplicationColours& operator=(const ApplicationColours&) = delete;

private:
    Appearance appearance;
};

/// Gives the application the palette for these wishes. Threads: main, with a QApplication.
void applyColours(const AppearanceWishes& wishes);

} // namespace quillet
