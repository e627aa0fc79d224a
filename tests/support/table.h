#pragma once

#include <QtTest>

#include <array>
#include <tuple>

/// A test's table: its construction declares the columns by their types.
template <class... Types>
class Table
{
public:
    Table()
    {
        std::size_t column = 0;
        (QTest::addColumn<Types>(m_names.at(column++)), ...);
    }

    void row(const QString& name, const Types&... values) const
    {
        (QTest::newRow(qPrintable(name)) << ... << values);
    }

    /// The row that is being tested.
    static std::tuple<Types...> fetch() { return fetch(std::index_sequence_for<Types...>()); }

private:
    template <std::size_t... Columns>
    static std::tuple<Types...> fetch(std::index_sequence<Columns...> /*columns*/)
    {
        return {*static_cast<Types*>(QTest::qData(m_names[Columns], qMetaTypeId<Types>()))...};
    }

    static constexpr std::array m_names = {"1", "2", "3", "4", "5", "6"};
};

/// The lines of a journal, which stands in a table as one text.
inline QStringList lines(const QString& journal)
{
    return journal.split(QStringLiteral("; "));
}
