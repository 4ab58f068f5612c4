#pragma once

#include <QtTest>

#include <any>
#include <tuple>

Q_DECLARE_METATYPE(std::any)

/// The table of a data-driven test: each row has a name and one cell of each type.
template <typename... Cells>
class Table
{
public:
    Table()
    {
        QTest::addColumn<std::any>("cells");
    }
    void row(const QByteArray &name, const Cells &...cells) const
    {
        QTest::newRow(name.constData()) << std::any(std::tuple<Cells...>(cells...));
    }
    /// The cells of the row that the test function is called for.
    [[nodiscard]] static std::tuple<Cells...> current()
    {
        return std::any_cast<std::tuple<Cells...>>(
            *static_cast<std::any *>(QTest::qData("cells", qMetaTypeId<std::any>())));
    }
};
