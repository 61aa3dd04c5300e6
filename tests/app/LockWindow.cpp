#include "application/linux/GtkPanels.h"
#include "application/linux/WindowLayers.h"
#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "lock/linux/GtkEventMonitor.h"
#include "lock/linux/LockSettingsScreen.h"

#include <glibmm/main.h>
#include <gtkmm/application.h>
#include <gtkmm/applicationwindow.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/entry.h>
#include <gtkmm/menubutton.h>
#include <gtkmm/popover.h>
#include <gtkmm/stylecontext.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

extern "C" void brisko_register_resource();

/// The layers of a main window, and the lock settings panel over it, as lines of JSON on the standard input
/// ask for them:
///
///     ["lock"]   ["unlock"]   ["cover"]   ["uncover"]   ["drawn"]   ["replace"] the content
///     ["alert", TITLE]   ["files"]   ["let-go"]   ["window", TITLE] of no concern to the lock
///     ["passcode", CODE]   ["settings", CAN SET A PASSCODE]   ["dismiss"]   ["disk", IS FULL]
///     ["preferences"]   ["uses"] of keyboard and pointer since the last time
///
/// The content is a note that can be written, with a menu; the overlay is a field. What the panel calls and
/// what was asked for is a line of JSON on the standard output. The program ends with its input.
namespace {

void say(const Json& line) {
    std::cout << line.dump() << std::endl;
}

void setName(Gtk::Entry& entry, const char* name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
}

/// A plain page: something to read, to write and to open.
class Page {
public:
    explicit Page(const std::string& text) : text_(text) {
        note_.set_text(text);
        gtk_accessible_update_property(GTK_ACCESSIBLE(note_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, "Note",
                                       -1);
        note_.set_tooltip_text("Tip of " + text);
        menu_.set_label("Menu of " + text);
        popover_.set_child(*Gtk::make_managed<Gtk::Label>("Item of " + text));
        menu_.set_popover(popover_);
        box_.set_margin(40);
        box_.append(text_);
        box_.append(note_);
        box_.append(menu_);
    }
    GtkWidget* widget() { return GTK_WIDGET(box_.gobj()); }

private:
    Gtk::Box box_{Gtk::Orientation::VERTICAL, 20};
    Gtk::Label text_;
    Gtk::Entry note_;
    Gtk::Popover popover_;
    Gtk::MenuButton menu_;
};

class LockProgram {
public:
    explicit LockProgram(Glib::RefPtr<Gtk::Application> application) : application_(std::move(application)) {
        application_->hold();
        window_.set_title("brisko");
        window_.set_default_size(820, 560);
        application_->add_window(window_);
        setName(passcode_, "Passcode");
        passcode_.set_valign(Gtk::Align::CENTER);
        window_.set_child(layers_.widget());
        layers_.setContent(page_->widget());
        observed_ = monitor_.observeInput([this] { uses_ += 1; });
        Glib::signal_io().connect([this](Glib::IOCondition) { return read(); }, STDIN_FILENO,
                                  Glib::IOCondition::IO_IN | Glib::IOCondition::IO_HUP);
        window_.present();
    }

private:
    bool read() {
        // Several lines may have come at once.
        do {
            std::string line;
            if (!std::getline(std::cin, line)) {
                dismiss();
                application_->quit();
                return false;
            }
            const auto request = Json::parse(line);
            if (!obeyLayers(request[0], request))
                obeyPanel(request[0], request);
        } while (std::cin.rdbuf()->in_avail() > 0);
        return true;
    }
    bool obeyLayers(const std::string& what, const Json& request) {
        if (what == "lock")
            layers_.showOverlay(GTK_WIDGET(passcode_.gobj()));
        else if (what == "unlock")
            layers_.removeOverlay();
        else if (what == "cover")
            layers_.cover();
        else if (what == "uncover")
            layers_.uncover();
        else if (what == "drawn")
            layers_.whenDrawn([] { say("drawn"); });
        else if (what == "replace")
            replace();
        else if (what == "alert")
            alert_ = panels_.alert(request[1], "From the page", [] { say("closed"); });
        else if (what == "files")
            alert_ = panels_.chooseFiles({}, [](const auto& files) { say(files.size()); });
        else if (what == "let-go")
            alert_.reset();
        else if (what == "window")
            openWindow(request[1]);
        else
            return false;
        return true;
    }
    void obeyPanel(const std::string& what, const Json& request) {
        if (what == "passcode")
            spawn(store_.set(SecretText(request[1].get<std::string>()), "ann", SecretText("secret")));
        else if (what == "settings")
            openSettings(request[1]);
        else if (what == "dismiss")
            dismiss();
        else if (what == "disk")
            defaults_.broken = request[1];
        else if (what == "preferences")
            say(defaults_.values);
        else
            say(std::exchange(uses_, 0));
    }

    void replace() {
        auto page = std::make_unique<Page>("Another page");
        layers_.setContent(page->widget());
        page_ = std::move(page);
    }
    void openWindow(const std::string& title) {
        other_ = std::make_unique<Gtk::Window>();
        other_->set_title(title);
        other_->set_child(*Gtk::make_managed<Gtk::Label>("About " + title));
        WindowLayers::exempt(*other_);
        other_->present();
    }
    void openSettings(bool canSetPasscode) {
        dismiss();
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [](int length) { say({"change", length}); };
        callbacks.onDone = [] { say("done"); };
        screen_ = std::make_unique<LockSettingsScreen>(
            LockSettingsView::make(canSetPasscode, callbacks, store_, defaults_, [] { say("applied"); }));
        sheet_ = std::make_unique<Gtk::Window>();
        g_object_set(sheet_->gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, nullptr);
        sheet_->set_title("Settings");
        sheet_->set_transient_for(window_);
        sheet_->set_modal();
        sheet_->set_decorated(false);
        sheet_->set_resizable(false);
        sheet_->add_css_class("sheet");
        gtk_window_set_child(sheet_->gobj(), screen_->widget());
        sheet_->present();
    }
    void dismiss() {
        if (sheet_)
            sheet_->unset_child();
        screen_.reset();
        sheet_.reset();
    }

    Glib::RefPtr<Gtk::Application> application_;
    Gtk::ApplicationWindow window_;
    Gtk::Entry passcode_;
    std::unique_ptr<Page> page_ = std::make_unique<Page>("Secret plan");
    WindowLayers layers_{window_};
    GtkPanels panels_{window_};
    Panels::Handle alert_;
    std::unique_ptr<Gtk::Window> other_;
    GtkEventMonitor monitor_;
    std::shared_ptr<void> observed_;
    int uses_ = 0;
    FakeKeychain keychain_;
    FakeUserDefaults defaults_;
    FakeClock clock_;
    Passcode store_{keychain_, defaults_, clock_};
    std::unique_ptr<LockSettingsScreen> screen_;
    std::unique_ptr<Gtk::Window> sheet_;
};

} // namespace

int main() {
    // Its own buffer knows how much is left in it.
    std::ios::sync_with_stdio(false);
    const auto application = Gtk::Application::create();
    std::unique_ptr<LockProgram> program;
    application->signal_activate().connect([&] {
        brisko_register_resource();
        for (const auto* name : {"native-screen.css", "lock-settings-screen.css", "window.css"}) {
            const auto style = Gtk::CssProvider::create();
            style->load_from_resource(std::string("/app/brisko/Brisko/") + name);
            Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), style,
                                                        GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
        }
        program = std::make_unique<LockProgram>(application);
    });
    return application->run();
}
