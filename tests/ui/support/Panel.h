// Panel.h: a control panel with a user in front of it.
#pragma once

#include "ui/ControlView.h"

#include <QAbstractButton>
#include <QString>

#include <stdexcept>
#include <string>
#include <vector>

namespace quillet {

/// A panel of the control window's first size on the offscreen display, wired to a model that takes every value as it
/// is told unless `obeys` is false. `heard` has each callback with its value, in order.
class Panel {
public:
    explicit Panel(const ControlState& first = {});

    ControlState state;
    bool obeys = true;
    std::vector<std::string> heard;
    ControlView view;

    /// The visible or hidden control that a screen reader calls so. None, or several: throws.
    template <typename Widget>
    Widget& named(const char* name) {
        Widget* found = nullptr;
        for (Widget* const each : view.findChildren<Widget*>()) {
            if (accessibleName(*each) != QString::fromUtf8(name)) continue;
            if (found) throw std::runtime_error(std::string("two controls are called ") + name);
            found = each;
        }
        if (!found) throw std::runtime_error(std::string("no control is called ") + name);
        return *found;
    }

    void click(const char* name);
    /// Presses a key with the focus on that control.
    void press(const char* name, Qt::Key key);
    void show(const ControlState& next);
    /// What heard() has gained since the last call.
    std::vector<std::string> takeHeard();

    static QString accessibleName(QWidget& widget);

private:
    void hear(const std::string& text, const std::function<void()>& apply);
};

} // namespace quillet
