#pragma once

#include <QTest>

#include <tuple>

// One row of a data-driven test: QTest::newRow(name) << values..., on one line.
template<typename... T> void row(const char* name, const T&... values)
{
    (QTest::newRow(name) << ... << values);
}

// The columns of a data-driven test, one type a name: columns<int, QString>("count", "text").
template<typename... T, typename... Name> void columns(const Name&... names)
{
    static_assert(sizeof...(T) == sizeof...(Name), "one type a column");
    (QTest::addColumn<T>(names), ...);
}

// The current row's values of the named columns, in that order:
// const auto [count, text] = fetch<int, QString>("count", "text");
template<typename... T, typename... Name> std::tuple<T...> fetch(const Name&... names)
{
    static_assert(sizeof...(T) == sizeof...(Name), "one type a column");
    return {*static_cast<T*>(QTest::qData(names, qMetaTypeId<T>()))...};
}
