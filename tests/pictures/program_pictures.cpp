#include "tests/pictures/program_pictures.h"

#include <QApplication>
#include <QTabBar>

#include "terminal/window/program_page.h"
#include "tests/pictures/album.h"
#include "tests/terminal/window/sample_program.h"
#include "tests/terminal/window/sample_screen.h"

namespace
{

/// The screen with its program page in front.
struct ProgramScreen : SampleScreen {
    ProgramScreen()
        : page(new ProgramPage([](const QString &, int, const ProgramPage::Answer &answer) {
              answer(sampleProgram());
          }))
    {
        window.addPage("Program", page);
        window.findChild<QTabBar *>()->setCurrentIndex(2);
        run(2);
    }

    void plug()
    {
        window.setStorage(sampleStick(), StorageState());
        page->setStick(sampleStick());
    }

    ProgramPage *page; ///< the window's
};

TransferViews views(TransferKind kind, bool running, int percent, bool failed)
{
    TransferViews result;
    result.of(kind).running = running;
    result.of(kind).percent = percent;
    result.of(kind).failed = failed;
    return result;
}

} // namespace

void takeProgramPictures(Album *album)
{
    ProgramScreen screen;
    album->take("program-no-stick", &screen.window);
    screen.plug();
    album->take("program-idle", &screen.window);
    screen.page->showTransfers(views(TransferKind::Export, true, 62, false));
    album->take("program-running", &screen.window);
    screen.page->showTransfers(views(TransferKind::Import, false, 0, true));
    album->take("program-failed", &screen.window);
}
