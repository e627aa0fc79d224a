#include "widgets/boxes.h"

#include <QLabel>
#include <QMessageBox>
#include <QtTest>

class tst_boxes : public QObject
{
    Q_OBJECT

private slots:
    void childrenBelongToTheBox()
    {
        Q3VBox column(nullptr);
        const QLabel first("first", &column);
        Q3HBox row(&column);
        const QLabel second("second", &column);
        const QLabel left("left", &row);
        const QLabel right("right", &row);
        // A window floats above the box.
        QMessageBox question(&column);
        column.show();
        QVERIFY(question.isWindow());
        QCOMPARE(column.layout()->count(), 3);
        QVERIFY(first.geometry().bottom() < row.geometry().top());
        QVERIFY(row.geometry().bottom() < second.geometry().top());
        QVERIFY(left.geometry().right() < right.geometry().left());

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
