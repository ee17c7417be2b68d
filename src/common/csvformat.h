#pragma once

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>

// How the console writes a CSV file for the spreadsheet of the user's language. A spreadsheet
// set up for French or German splits fields at ";" (the comma is its decimal mark) and reads a
// file without a byte-order mark as the local 8-bit code page; English keeps the plain RFC 4180
// form. Every export of the console goes through here, so they all open the same way.
struct CsvFormat
{
    QChar separator = QLatin1Char(',');
    QChar decimalMark = QLatin1Char('.');
    bool byteOrderMark = false;

    // The form for a language column of the data file ("English", "Français", "Deutsch");
    // an empty name is the default column, English.
    static CsvFormat ForLanguage(const QString& language);
    // The form for the language the console speaks now.
    static CsvFormat Current();

    // A field quoted when it holds the separator, a quote or a line break; quotes doubled.
    QString field(QString value) const;
    // A number with `decimals` places and this form's decimal mark.
    QString number(double value, int decimals) const;
    // One line of fields, ended by CRLF.
    QString line(const QStringList& values) const;
    // The whole file: the mark when this form has one, then the lines, in UTF-8.
    QByteArray document(const QList<QStringList>& lines) const;
};
