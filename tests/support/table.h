#pragma once

#include <QtTest>

/// Declares the columns of a test's table.
template <class... Types, class... Names>
void columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}

/// Adds a row to it.
template <class... Values>
void row(const QString& name, const Values&... values)
{
    (QTest::newRow(qPrintable(name)) << ... << values);
}

/// The lines of a journal, which stands in a table as one text.
inline QStringList lines(const QString& journal)
{
    return journal.split(QStringLiteral("; "));
}
