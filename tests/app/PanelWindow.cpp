#include "application/linux/GtkPanels.h"
#include "platform/Json.h"

#include <glibmm/main.h>
#include <gtkmm/application.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/settings.h>
#include <gtkmm/stylecontext.h>
#include <unistd.h>

#include <cstdio>
#include <deque>
#include <iostream>
#include <memory>
#include <string>

extern "C" void brisko_register_resource();

/// Panels over an empty main window, as lines of JSON on the standard input ask for them:
///
///     ["alert", TITLE, TEXT]   ["confirm", TITLE, TEXT]   ["files", MULTIPLE, [TYPE…]]
///     ["let-go"] of the oldest   ["forget"] all at once   ["show"]   ["hide"]   ["dark"]   ["light"]
///
/// Every answer is a line of JSON on the standard output. The program ends with its input.
namespace {

class PanelProgram {
public:
    explicit PanelProgram(const Glib::RefPtr<Gtk::Application>& application)
        : application_(application), panels_(std::make_unique<GtkPanels>(window_)) {
        // It comes back when it has been closed.
        application_->hold();
        window_.set_title("brisko");
        window_.set_default_size(820, 560);
        Glib::signal_io().connect([this](Glib::IOCondition) { return read(); }, STDIN_FILENO,
                                  Glib::IOCondition::IO_IN | Glib::IOCondition::IO_HUP);
        window_.present();
    }

private:
    bool read() {
        std::string line;
        if (!std::getline(std::cin, line)) {
            application_->quit();
            return false;
        }
        obey(Json::parse(line));
        return true;
    }
    void obey(const Json& request) {
        const auto what = request[0].get<std::string>();
        if (what == "alert")
            handles_.push_back(panels_->alert(request[1], request[2], [this] { answered("closed"); }));
        else if (what == "confirm")
            handles_.push_back(panels_->confirm(request[1], request[2], [this](bool ok) { answered(ok); }));
        else if (what == "files")
            handles_.push_back(panels_->chooseFiles({request[1], false, request[2]}, [this](auto paths) {
                answered(std::vector<std::string>(paths.begin(), paths.end()));
            }));
        else if (what == "let-go")
            handles_.pop_front();
        else if (what == "forget")
            panels_ = std::make_unique<GtkPanels>(window_);
        else if (what == "show" || what == "hide")
            window_.set_visible(what == "show");
        else
            Gtk::Settings::get_default()->property_gtk_application_prefer_dark_theme() = what == "dark";
    }
    /// Lets go of everything, as a page does that goes away over its own question.
    void answered(const Json& answer) {
        std::cout << answer.dump() << std::endl;
        panels_ = std::make_unique<GtkPanels>(window_);
        handles_.clear();
    }

    Glib::RefPtr<Gtk::Application> application_;
    Gtk::Window window_;
    std::unique_ptr<GtkPanels> panels_;
    std::deque<Panels::Handle> handles_;
};

} // namespace

int main() {
    // The input is looked at line by line, so nothing of it may be read ahead.
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    const auto application = Gtk::Application::create();
    std::unique_ptr<PanelProgram> program;
    application->signal_activate().connect([&] {
        brisko_register_resource();
        const auto style = Gtk::CssProvider::create();
        style->load_from_resource("/app/brisko/Brisko/window.css");
        Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), style,
                                                    GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
        program = std::make_unique<PanelProgram>(application);
    });
    const auto status = application->run();
    program.reset();
    return status;
}
