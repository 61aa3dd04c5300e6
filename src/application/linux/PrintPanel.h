#pragma once

#include "application/linux/OpenPanel.h"
#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"

#include <functional>
#include <memory>

/// The toolkit's dialog for printing, which finds the printers without holding the program up. Whatever takes
/// it off the screen ends it as if the person had given up.
class PrintPanel final : public OpenPanel, public std::enable_shared_from_this<PrintPanel> {
public:
    /// `closed` is called once at most, when the dialog is off the screen and what it was for is being
    /// printed, unless the person gave up. It may let go of the panel.
    static std::shared_ptr<PrintPanel> make(std::shared_ptr<PagePrintJob> job, std::function<void()> closed);
    ~PrintPanel() override;

    void present(Gtk::Window& parent) override;
    void hide() override;
    void close() override;

private:
    PrintPanel(std::shared_ptr<PagePrintJob> job, std::function<void()> closed);

    void create();
    void answer(int response);

    std::shared_ptr<PagePrintJob> job_; ///< null once it has been answered or closed
    std::function<void()> closed_;
    GPtr<GtkWindow>
        dialog_; ///< which may destroy itself; null while it has not been shown and once it is closed
};
