#pragma once

#include "application/linux/Desk.h"
#include "application/linux/MainWindow.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/WidgetScreen.h"

#include <gmock/gmock.h>
#include <gtkmm/application.h>
#include <gtkmm/entry.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/label.h>

/// A text and a field that has its name.
class NoteScreen : public Screen, public WidgetScreen {
public:
    NoteScreen(const char* text, const char* fieldName) : text_(text) {
        gtk_accessible_update_property(GTK_ACCESSIBLE(field.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, fieldName,
                                       -1);
        box.append(text_);
        box.append(field);
    }
    GtkWidget* widget() override { return GTK_WIDGET(box.gobj()); }

    Gtk::Box box{Gtk::Orientation::VERTICAL, 20};
    Gtk::Entry field;

private:
    Gtk::Label text_;
};

/// The program's window on the desk, with a page that has the keyboard.
class WindowTest : public testing::Test {
protected:
    static inline const auto application = Gtk::Application::create("", Gio::Application::Flags::NON_UNIQUE);
    const bool isRegistered = application->register_application();
    FakeUserDefaults defaults;
    MainWindow window{application, defaults};
    NoteScreen page{"Page", "Note"};

    void SetUp() override {
        window.setContent(page);
        window.present();
        Desk::seeKeyboardIn("Note");
    }
    void TearDown() override { window.removeContent(); }
};
