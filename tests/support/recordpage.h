#pragma once

#include "record/streamingtab.h"
#include "tests/support/page.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>

/// The titles of the three modes.
inline const QString onTheFly = QStringLiteral("In the file on the fly");
inline const QString ring = QStringLiteral("SW Circular buffer");
inline const QString hardware = QStringLiteral("HW Circular buffer");

/// The Record page, timed by the scripted clock, with what a user sees and touches of it.
struct RecordPage : Page<TOVAStreamingTab> {
    QComboBox* file = tab->findChild<QComboBox*>();
    QPushButton* startStop = find<QPushButton>("Start!");
    QPushButton* brutalStop = find<QPushButton>("Brutal Stop in 5 seconds!");
    QLabel* status = group("Recording")->findChild<QLabel*>();
    QCheckBox* newExl = find<QCheckBox>("Use it (Ambrel, Sorvane, ...)");
    QLineEdit* start = group("EXL Trigger")->findChildren<QLineEdit*>().at(0);
    QLineEdit* end = group("EXL Trigger")->findChildren<QLineEdit*>().at(1);
    QLineEdit* tag = group("PXTS Trigger")->findChild<QLineEdit*>();
    QLineEdit* size = group(ring)->findChild<QLineEdit*>();

    explicit RecordPage(const QString& mode = ring)
        : Page([]() -> std::chrono::nanoseconds { return std::chrono::milliseconds(board.now); })
    {
        group(mode)->setChecked(true);
        file->setEditText("a.prf");
        board.state = [this] { return state(); };
    }

    QGroupBox* group(const QString& title) const { return find<QGroupBox>(title); }

    /// The two buttons, the running timers' periods, and how many groups can be used: two always
    /// can.
    QString state() const
    {
        QStringList shown = {startStop->text() + (startStop->isEnabled() ? "" : " off")};
        if (!brutalStop->isHidden()) {
            shown += brutalStop->text();
        }
        for (const QTimer* timer : tab->findChildren<QTimer*>()) {
            if (timer->isActive()) {
                shown += QString::number(timer->interval());
            }
        }
        const auto groups = tab->findChildren<QGroupBox*>();
        const auto usable = std::count_if(groups.begin(), groups.end(),
                                          [](QGroupBox* each) { return each->isEnabled(); });
        return shown.join(", ") +
               (usable == 2 ? QString() : QStringLiteral(", %1 groups").arg(usable));
    }

    /// Makes a recording of that trace, not too soon after the one before.
    void record(const std::deque<ScriptedBoard::Read>& reads) const
    {
        board.reads = reads;
        board.now += QApplication::doubleClickInterval();
        click(startStop);
    }

    /// Lets the one running timer of that period end now.
    void expire(int period) const
    {
        for (QTimer* timer : tab->findChildren<QTimer*>()) {
            if (timer->isActive() && timer->interval() == period) {
                timer->setInterval(0);
            }
        }
    }
};
