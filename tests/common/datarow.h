#pragma once

#include "../protocol/columns.h" // columns<...>(names) and fetch<...>(names)

#include <QTest>

// One row of a data-driven test: QTest::newRow(name) << values..., on one line.
template<typename... T> void row(const char* name, const T&... values)
{
    (QTest::newRow(name) << ... << values);
}
