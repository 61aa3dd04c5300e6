#include "platform/linux/GLibMainQueue.h"

#include <glibmm/main.h>

void GLibMainQueue::after(std::chrono::milliseconds delay, std::function<void()> work) {
    Glib::signal_timeout().connect_once(work, static_cast<unsigned int>(delay.count()));
}
