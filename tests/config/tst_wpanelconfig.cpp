// The configuration window against k7310sim over a pty: the words on the line (from the
// simulator's trace, with the line settings each was heard at), the controls afterwards, the
// messages, the settings file, and the configuration files.
#include "configtestkit.h"

class TestPanelConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        CommFunctions::SetFrameDelay(5);
        QVERIFY(m_fixture.openData());
        DataFunctions7310::SetCurrentLanguage("English");
    }
    void cleanup()
    {
        m_window.reset();
        m_sim.reset();
        m_port.reset();
        m_fixture.capture.messages.clear();
        QFile::remove(m_fixture.iniFile);
    }

    // Read and write at each firmware: the blocks and words on the line, the controls after.
    void readWrite_data()
    {
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<QString>("written"); // controls before a write; "" for a read
        QTest::addColumn<QStringList>("line");
        QTest::addColumn<QString>("after");
        const QString at = "19200/2 7:";
        const QStringList reads{at + "R130x1", at + "R128x4", at + "R65x3", at + "R70x1",
                                at + "R69x1"};
        const QStringList writes{at + "R130x1", at + "W128=255", at + "W129=2",
                                 at + "W130=7", at + "W131=1",   at + "W65=0",
                                 at + "W67=1",  at + "W70=1",    at + "W69=0"};
        row("read 2.8", "2.8", "", reads, "4 1 7 2 1 0 1 1 v2.8");
        row("read 2.7: LED test with K/L emptied", "2.7", "", reads, "4 1 7 2 1 0 1 -1 v2.7");
        row("read 2.6: both K/L lists emptied", "2.6", "", reads, "4 1 7 2 1 0 -1 -1 v2.6");
        row("write 2.8", "2.8", "4 1 7 1 0 1 0 1", writes, "4 1 7 1 0 1 0 1 v2.8");
        row("write 2.7: 70 refused, list emptied", "2.7", "4 1 7 1 0 1 0 1", writes,
            "4 1 7 1 0 1 0 -1 v2.7");
        row("write 2.6: 70 and 69 refused", "2.6", "4 1 7 1 0 1 0 1", writes,
            "4 1 7 1 0 1 -1 -1 v2.6");
    }

    void readWrite()
    {
        QFETCH(QString, firmware);
        QFETCH(QString, written);
        QFETCH(QStringList, line);
        QFETCH(QString, after);
        QVERIFY(start({"--version", firmware}, "19200,n,8,2", panelState));
        User user;
        user.slave = "7";
        if (written.isEmpty()) {
            m_window->cmdReadConfig_Click();
        } else {
            setValues(*m_window, written);
            m_window->cmdWriteConfig_Click();
        }
        QCOMPARE(words(*m_sim), line);
        QCOMPARE(shown(*m_window), after);
        QCOMPARE(user.messages, texts({"10121:" + firmware}));
        // The version is told once: the same panel again gives no message.
        m_window->cmdReadConfig_Click();
        QCOMPARE(user.messages.size(), 1);
        QVERIFY(m_fixture.reports().isEmpty());
    }

    // A write that changes the line: the console follows after each word, later words go out
    // at the new settings and to the new slave, and the settings file follows step by step.
    void writeFollowsLine_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QStringList>("line");
        QTest::addColumn<QString>("port");   // the console's line after the write
        QTest::addColumn<QString>("stored"); // Bauds Stops LastSlave
        QTest::addColumn<QStringList>("messages");
        row("speed, stop bits and slave number change", QStringList{}, "4 1 9 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=255", "19200/1 1:W129=2",
                        "19200/2 1:W130=9", "19200/2 9:W131=0", "19200/2 9:W65=0",
                        "19200/2 9:W67=1", "19200/2 9:W70=0", "19200/2 9:W69=0"},
            "19200,n,8,2", "19200 2 9", QStringList{"10121:2.8"});
        row("no echo after word 129: the new speed stays", QStringList{"--fault-word", "129:none"},
            "2 1 9 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=252", "4800/1 1:W129=2"}, "4800,n,8,1",
            "4800 - 1", QStringList{"10120"});
        row("only the slave number: words after 130 go to it", QStringList{}, "3 0 33 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=254", "9600/1 1:W129=1",
                        "9600/1 1:W130=33", "9600/1 33:W131=0", "9600/1 33:W65=0",
                        "9600/1 33:W67=1", "9600/1 33:W70=0", "9600/1 33:W69=0"},
            "9600,n,8,1", "9600 1 33", QStringList{"10121:2.8"});
    }

    void writeFollowsLine()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, written);
        QFETCH(QStringList, line);
        QFETCH(QString, port);
        QFETCH(QString, stored);
        QFETCH(QStringList, messages);
        QVERIFY(start(options, "9600,n,8,1"));
        User user;
        setValues(*m_window, written);
        m_window->cmdWriteConfig_Click();
        QCOMPARE(words(*m_sim), line);
        QCOMPARE(m_port->settings(), port);
        QCOMPARE(::stored(), stored);
        QCOMPARE(user.messages, texts(messages));
        QCOMPARE(m_window->findChild<QLabel*>("lblVersionK7310")->text(),
                 messages.first().section(':', 1));
        QVERIFY(!QApplication::overrideCursor());
    }

    // The common opening: the slave dialog, the search, and what nothing found shows.
    void opening_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("typed"); // "cancel": the slave dialog is cancelled
        QTest::addColumn<bool>("autoSearch");
        QTest::addColumn<bool>("write");
        QTest::addColumn<QStringList>("line");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QString>("lastSlave");
        const QStringList panel{"--slave", "12", "--speed", "4800", "--stop", "2"};
        const QString found = "4800/2 12:";
        row("slave 0 found by the automatic search at 4800/2", panel, "0", true, false,
            QStringList{"ignored 9600/1 probe", "ignored 19200/1 probe", "ignored 19200/2 probe",
                        "ignored 4800/1 probe", "4800/2 probe", found + "R128x4", found + "R65x3",
                        found + "R70x1", found + "R69x1"},
            QStringList{"10121:2.8"}, "12");
        row("read, slave 0, nothing answers", panel, "0", false, false,
            QStringList{"ignored 9600/1 probe"}, QStringList{"10122"}, "0");
        row("write, slave 0, nothing answers", panel, "0", false, true,
            QStringList{"ignored 9600/1 probe"}, QStringList{"10102"}, "0");
        row("read, slave 12 typed, nothing answers", panel, "12", false, false,
            QStringList{"ignored 9600/1 12:R130x1"}, QStringList{"10120"}, "12");
        row("slave dialog cancelled", panel, "cancel", false, false, QStringList{}, QStringList{},
            "-");
    }

    void opening()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, typed);
        QFETCH(bool, autoSearch);
        QFETCH(bool, write);
        QFETCH(QStringList, line);
        QFETCH(QStringList, messages);
        QFETCH(QString, lastSlave);
        QVERIFY(start(options, "9600,n,8,1"));
        const QString before = shown(*m_window);
        User user;
        user.slave = typed;
        user.cancel = typed == "cancel";
        user.autoSearch = autoSearch;
        write ? m_window->cmdWriteConfig_Click() : m_window->cmdReadConfig_Click();
        QCOMPARE(words(*m_sim), line);
        QCOMPARE(user.messages, texts(messages));
        QCOMPARE(ZRBfonctions::GetIniParam("Communication", "LastSlave", "-"), lastSlave);
        if (messages.value(0).startsWith("10121"))
            QCOMPARE(shown(*m_window), "2 1 12 0 0 1 0 0 v2.8");
        else
            QCOMPARE(shown(*m_window), before);
        QVERIFY(!QApplication::overrideCursor());
    }

    // A write that cannot be carried out sends nothing, names the parameter and focuses it.
    void refusedWrite_data()
    {
        QTest::addColumn<QString>("written");
        QTest::addColumn<QString>("version"); // version label before the write
        QTest::addColumn<QString>("message"); // "" when the write goes ahead
        QTest::addColumn<QString>("focus");
        row("speed list empty", "-1 0 1 0 0 1 0 0", "", "10130:Line speed", "cboConfParam_0");
        row("bus mode list empty", "3 0 1 -1 0 1 0 0", "2.8", "10130:Bus control",
            "cboConfParam_3");
        row("slave 0", "3 0 0 0 0 1 0 0", "", "10131:Slave number", "updCommSlave");
        row("slave 65", "3 0 65 0 0 1 0 0", "", "10131:Slave number", "updCommSlave");
        row("K/L list empty while no version is known", "3 0 1 0 0 1 -1 0", "",
            "10130:Bus control with K/L", "cboConfParam_6");
        row("K/L lists empty at 2.6 are left out", "3 0 1 0 0 1 -1 -1", "2.6", "", "");
    }

    void refusedWrite()
    {
        QFETCH(QString, written);
        QFETCH(QString, version);
        QFETCH(QString, message);
        QFETCH(QString, focus);
        QVERIFY(start({"--version", "2.6"}, "9600,n,8,1"));
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_window->findChild<QLabel*>("lblVersionK7310")->setText(version);
        setValues(*m_window, written);
        User user;
        m_window->cmdWriteConfig_Click();
        if (message.isEmpty()) {
            QCOMPARE(user.asked, 1);
            QCOMPARE(words(*m_sim).filter("W").size(), 6); // 128..67; 70 and 69 not sent
            QCOMPARE(shown(*m_window), written + " v2.6");
            QVERIFY(user.messages.isEmpty());
            return;
        }
        QCOMPARE(user.messages, texts({message}));
        QCOMPARE(user.asked, 0);
        QVERIFY(words(*m_sim).isEmpty());
        QWidget* focused = m_window->focusWidget();
        QCOMPARE(focused ? focused->objectName() : QString(), focus);
    }

    // The up-down button steps within the slave numbers, whatever the box shows.
    void slaveUpDown()
    {
        ComCtrl port;
        wPanelConfig window(port);
        auto* slave = qobject_cast<QSpinBox*>(window.control(ConfigMap::Slave));
        QStringList reached;
        for (const auto& [from, step] : {std::pair{64, 1}, {1, -1}, {200, -1}, {0, 1}}) {
            slave->setValue(from);
            slave->stepBy(step);
            reached << QString::number(slave->value());
        }
        QCOMPARE(reached.join(' '), "64 1 64 1");
    }

    // Compare marks exactly the controls that differ, with the panel's value in the tooltip;
    // the next Initialise, Read or Write clears the marks.
    void compare_data()
    {
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<QString>("showing");
        QTest::addColumn<QStringList>("marks"); // "<index> <tooltip>"
        QTest::addColumn<QString>("clearedBy");
        row("all the same", "2.8", "4 1 7 2 1 0 1 1", QStringList{}, "init");
        row("speed, slave and LED test differ", "2.8", "3 1 8 2 1 0 1 0",
            QStringList{"0 Panel: 19200", "2 Panel: 7", "7 Panel: Yes"}, "read");
        row("2.6 panel lacks the K/L words", "2.6", "4 1 7 2 1 1 1 1",
            QStringList{"5 Panel: No", "6 Panel: not in this panel's firmware",
                        "7 Panel: not in this panel's firmware"},
            "write");
    }

    void compare()
    {
        QFETCH(QString, firmware);
        QFETCH(QString, showing);
        QFETCH(QStringList, marks);
        QFETCH(QString, clearedBy);
        QVERIFY(start({"--version", firmware}, "19200,n,8,2", panelState));
        setValues(*m_window, showing);
        User user;
        user.slave = "7";
        m_window->cmdCompare_Click();
        QCOMPARE(words(*m_sim).filter(":W"), QStringList{});
        QCOMPARE(shown(*m_window), showing + " v" + firmware); // nothing changed but the version
        QStringList seen;
        for (int i = 0; i < ConfigMap::ParameterCount; ++i) {
            if (m_window->marked(i))
                seen << QString::number(i) + ' ' + m_window->control(i)->toolTip();
        }
        QCOMPARE(seen, marks);
        QCOMPARE(user.messages,
                 texts({"10121:" + firmware,
                        marks.isEmpty() ? "10140" : "10141:" + QString::number(marks.size())}));

        if (clearedBy == "init")
            m_window->cmdConfigInit_Click();
        else if (clearedBy == "read")
            m_window->cmdReadConfig_Click();
        else
            m_window->cmdWriteConfig_Click();
        for (int i = 0; i < ConfigMap::ParameterCount; ++i)
            QVERIFY(!m_window->marked(i) && m_window->control(i)->styleSheet().isEmpty());
    }

    // Files: what the window saved opens again as it was, unless an edit of the file makes it
    // refused ("key=value" replaces that key's line, "key" alone drops it); a refused file
    // leaves the controls as they were.
    void files_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("message"); // "%1" stands for the file's path
        QTest::addColumn<QString>("after");   // "" when the factory values stay
        row("saved and opened again", "", "", "2 1 17 3 1 0 1 0");
        row("LED test with K/L left empty", "70=", "", "2 1 17 3 1 0 1 -1");
        row("no such file", "missing", "10151:%1", "");
        row("not such a file at all", "binary", "10152:Device", "");
        row("another device", "Device=K9120", "10153:K9120", "");
        row("a newer format", "Format=2", "10152:Format", "");
        row("unknown firmware", "Firmware=3.1", "10152:Firmware", "");
        row("word 131 missing", "131", "10152:131", "");
        row("word 65 not a number", "65=yes", "10152:65", "");
        row("slave number empty", "130=", "10152:130", "");
        row("speed code outside the list", "128=250", "10154:Line speed", "");
        row("slave 65", "130=65", "10154:Slave number", "");
    }

    void files()
    {
        QFETCH(QString, edit);
        QFETCH(QString, message);
        QFETCH(QString, after);
        QVERIFY(start({}, "9600,n,8,1"));
        const QString path = m_fixture.dir.filePath("panel.k7310");
        setValues(*m_window, "2 1 17 3 1 0 1 0");
        QVERIFY(m_window->saveFile(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        // The words are kept as the panel codes them, in the order they are written.
        QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains("[Words]\n128=252\n129=2\n130=17\n131=3\n65=1\n67=0\n70=0\n69=1"));
        const QRegularExpression line('^' + edit.section('=', 0, 0) + "=.*\\n",
                                      QRegularExpression::MultilineOption);
        if (edit == "binary")
            text = QString(300, QChar(7));
        else
            text.replace(line, edit.contains('=') ? edit + '\n' : QString());
        file.resize(0);
        file.write(text.toUtf8());
        file.close();
        if (edit == "missing")
            QFile::remove(path);

        m_window->cmdConfigInit_Click();
        const QString factory = shown(*m_window);
        User user;
        QCOMPARE(m_window->openFile(path), message.isEmpty());
        QCOMPARE(user.messages, message.isEmpty() ? QStringList{} : texts({message.arg(path)}));
        QCOMPARE(shown(*m_window), after.isEmpty() ? factory : after + " v");
        QVERIFY(words(*m_sim).isEmpty());
    }

private:
    // The simulator with options (and a state file), the console's line at `settings` on it,
    // and a fresh window showing the factory values.
    bool start(const QStringList& options, const QString& settings, const QString& state = {})
    {
        QStringList all = options;
        if (!state.isEmpty()) {
            const QString file = m_fixture.dir.filePath("panel.state");
            QFile out(file);
            if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
                out.write(state.toUtf8()) < 0)
                return false;
            all << "--state" << file;
        }
        m_sim = std::make_unique<SimProcess>();
        if (!m_sim->start(all))
            return false;
        m_port = std::make_unique<ComCtrl>();
        m_port->setPortName(m_sim->path());
        m_port->setSettings(settings);
        m_port->open();
        m_window = std::make_unique<wPanelConfig>(*m_port);
        return true;
    }

    ShellFixture m_fixture;
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<ComCtrl> m_port;
    std::unique_ptr<wPanelConfig> m_window;
};

QTEST_MAIN(TestPanelConfig)
#include "tst_wpanelconfig.moc"
