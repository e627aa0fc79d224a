#include "widgets/boxes.h"

#include <QLabel>
#include <QMessageBox>
#include <QtTest>

class tst_boxes : public QObject
{
    Q_OBJECT

private slots:
    void childrenStandInTheOrderOfTheirCreation()
    {
        Q3VBox column(nullptr);
        const QLabel first("first", &column);
        Q3HBox row(&column);
        const QLabel second("second", &column);
        auto* left = new QLabel("left", &row);
        auto* right = new QLabel("right", &row);
        column.show();
        QVERIFY(first.geometry().bottom() < row.geometry().top());
        QVERIFY(row.geometry().bottom() < second.geometry().top());
        QVERIFY(left->geometry().right() < right->geometry().left());
        QCOMPARE(left->y(), right->y());
    }

    void windowsFloatAboveTheBox()
    {
        Q3VBox box(nullptr);
        const QLabel label("label", &box);
        box.show();
        const QRect place = label.geometry();
        QMessageBox question(&box);
        question.show();
        QApplication::processEvents();
        QVERIFY(question.isWindow());
        QCOMPARE(box.layout()->count(), 1);
        QCOMPARE(label.geometry(), place);
    }

    void childrenOfAnUncheckedGroupAreDisabled()
    {
        Q3VGroupBox group("group", nullptr);
        group.setCheckable(true);
        group.setChecked(false);
        const QLabel label("label", &group);
        QVERIFY(!label.isEnabled());
        group.setChecked(true);
        QVERIFY(label.isEnabled());
    }
};

QTEST_MAIN(tst_boxes)
#include "tst_boxes.moc"
