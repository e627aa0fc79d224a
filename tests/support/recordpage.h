#pragma once

#include "record/streamingtab.h"
#include "tests/support/find.h"
#include "tests/support/folder.h"
#include "tests/support/scriptedboard.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

/// The Record page in a window, timed by the scripted clock, with what a user sees and touches of
/// it.
struct RecordPage {
    QWidget window;
    TOVAStreamingTab* tab = new TOVAStreamingTab(&window, ScriptedBoard::milliseconds);
    QComboBox* file = tab->findChild<QComboBox*>();
    QPushButton* startStop = withText<QPushButton>(*tab, "Start!");
    QPushButton* brutalStop = withText<QPushButton>(*tab, "Brutal Stop in 5 seconds!");
    QGroupBox* onTheFly = group("In the file on the fly");
    QGroupBox* software = group("SW Circular buffer");
    QGroupBox* hardware = group("HW Circular buffer");
    QGroupBox* exl = group("EXL Trigger");
    QGroupBox* pxts = group("PXTS Trigger");
    QGroupBox* filter = group("Filtering (Check Boxes to Reject)");
    QCheckBox* newExl = withText<QCheckBox>(*tab, "Use it (Ambrel, Sorvane, ...)");
    QLineEdit* size = software->findChild<QLineEdit*>();
    QLabel* status = group("Recording")->findChild<QLabel*>();

    explicit RecordPage(const QString& mode = QStringLiteral("SW Circular buffer"))
    {
        window.show();
        QApplication::setActiveWindow(&window);
        group(mode)->setChecked(true);
        file->setEditText("a.prf");
        auto& board = ScriptedBoard::instance();
        QObject::connect(tab, &TOVAStreamingTab::greyParentGUI, [&] { board.note("grey"); });
        QObject::connect(tab, &TOVAStreamingTab::ungreyParentGUI, [&] { board.note("ungrey"); });
        board.state = [this] { return state(); };
    }
    ~RecordPage() { ScriptedBoard::instance().state = nullptr; }
    RecordPage(const RecordPage&) = delete;
    RecordPage& operator=(const RecordPage&) = delete;

    QGroupBox* group(const QString& title) const { return withText<QGroupBox>(*tab, title); }

    /// The two buttons, whether the options can be used, and the running timers' periods.
    QString state() const
    {
        QStringList shown = {startStop->text() + (startStop->isEnabled() ? "" : " off")};
        if (!brutalStop->isHidden()) {
            shown += brutalStop->text();
        }
        shown += filter->isEnabled() ? "options" : "no options";
        for (const QTimer* timer : tab->findChildren<QTimer*>()) {
            if (timer->isActive()) {
                shown += QString::number(timer->interval());
            }
        }
        return shown.join(", ");
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
