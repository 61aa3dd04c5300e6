#include <gtest/gtest.h>
#include <gtk/gtk.h>

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (!gtk_init_check()) {
        g_printerr("these tests need a display\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
