#include "application/linux/WindowStack.h"

#include <algorithm>

Gtk::Window& WindowStack::front(Gtk::Window& window) {
    auto* front = &window;
    const auto all = Gtk::Window::list_toplevels();
    const auto isNext = [&front](Gtk::Window* other) {
        return other->get_visible() && other->get_modal() && other->get_transient_for() == front;
    };
    for (auto next = all.begin(); next != all.end();) {
        next = std::find_if(all.begin(), all.end(), isNext);
        if (next != all.end())
            front = *next;
    }
    return *front;
}

void WindowStack::close(Gtk::Window& leaving) {
    auto* const beneath = leaving.get_transient_for();
    for (auto* window : Gtk::Window::list_toplevels())
        if (beneath && window->get_transient_for() == &leaving)
            window->set_transient_for(*beneath);
}
