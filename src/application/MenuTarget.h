#pragma once

#include "application/Menus.h"

#include <functional>

/// What a menu bar asks of the program: the menus, and to carry out the items that are the delegate's.
class MenuTarget {
public:
    virtual ~MenuTarget() = default;

    virtual const Menus& menus() const = 0;
    /// Whether an item of the delegate can be chosen now.
    virtual bool validate(const MenuItem& item) const = 0;
    /// Carries out a command of the delegate. One that is not enabled does nothing.
    virtual void perform(MenuCommand command) = 0;

    /// Called after the menus, or an answer of `validate`, may have changed. Set by the menu bar, which looks
    /// at all of them again.
    std::function<void()> onMenusChanged;
};
