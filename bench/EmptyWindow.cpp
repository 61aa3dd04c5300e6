#include "bench/Baseline.h"

#include <gtkmm/application.h>
#include <gtkmm/applicationwindow.h>

/// What every launch of a gtkmm program costs: a window with nothing in it.
int main(int count, char** arguments) {
    Baseline::chooseRenderer();
    const auto application = Gtk::Application::create("app.brisko.EmptyWindow");
    class Empty : public Gtk::ApplicationWindow {
    public:
        Empty() { set_default_size(1180, 800); }
    };
    return application->make_window_and_run<Empty>(count, arguments);
}
