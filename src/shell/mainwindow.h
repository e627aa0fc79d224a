#pragma once

#include "record/refreshclock.h"

#include <QMainWindow>

class QAction;
class QPushButton;
class TOVABrannelTab;
class TOVAStreamingTab;

/// The program's one window: the two working pages, the target's Reset button and the Options menu.
/// While one page works, the other page and the Reset button are disabled.
class TOVAMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// `clock` times the refreshes of the page Record.
    explicit TOVAMainWindow(SteadyClock clock = steadyTime);

    /// Whether a burn or a recording goes on.
    bool isWorking() const;

protected slots:
    void reset();
    void branGreyGUI();
    void branUngreyGUI();
    void streamGreyGUI();
    void streamUngreyGUI();
    void protectClickAction(QAction* a);

protected:
    /// Ends a running recording; closing is never refused.
    void closeEvent(QCloseEvent* e) override;

private:
    void createPages(QWidget* box, SteadyClock clock);
    void createBottomBar(QWidget* box);
    void connectPages();
    void watchWork();
    void createOptionsMenu();

    QPushButton* m_resetButton = nullptr;
    TOVABrannelTab* m_brannelTab = nullptr;
    TOVAStreamingTab* m_streamingTab = nullptr;
};
