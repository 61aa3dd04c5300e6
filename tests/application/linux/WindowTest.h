#pragma once

#include "application/linux/Desk.h"
#include "application/linux/MainWindow.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/WidgetScreen.h"

#include <gmock/gmock.h>
#include <gtkmm/entry.h>
#include <gtkmm/label.h>

#include <string>

/// A text and a field that has its name.
class NoteScreen : public Screen, public WidgetScreen {
public:
    NoteScreen(const std::string& text, const std::string& fieldName) : text_(text) {
        gtk_accessible_update_property(GTK_ACCESSIBLE(field.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                       fieldName.c_str(), -1);
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
    FakeUserDefaults defaults;
    MainWindow window{Desk::application(), defaults};
    NoteScreen page{"Page", "Note"};

    void SetUp() override {
        window.setBackground(Chrome::canvas);
        window.setContent(page);
        Desk::movePointer(700, 500);
        window.present();
        Desk::seeKeyboardIn("Note");
    }
    void TearDown() override { window.removeContent(); }
};
