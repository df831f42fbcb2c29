// SPDX-License-Identifier: GPL-3.0-or-later
// Drives the built sorvanel-cli as a user would, on a temporary home.
#include "Localization.h"
#include "SettingsSchema.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <csignal>

using namespace sorvanel;
using namespace sorvanel::test;

class TestCommandLine : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_programs; // beside the home: some tests list it
    std::unique_ptr<FakeSystemctl> m_systemctl;
    QByteArray m_path;
    Path downloads() const { return toPath(m_home->downloads()); }

private slots:
    // The program speaks the test's language; compare with the same translations.
    void initTestCase()
    {
        L10n::installTranslations(*QCoreApplication::instance());
        m_path = qgetenv("PATH");
    }
    // Each test has its own home, and a systemctl of its own first on PATH.
    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        m_programs = std::make_unique<TemporaryFolder>();
        m_systemctl = std::make_unique<FakeSystemctl>(m_programs->path());
        qputenv("PATH", QFile::encodeName(m_programs->path()) + ':' + m_path);
    }

    void usageErrors()
    {
        QCOMPARE(cli({}).status, 64);
        QCOMPARE(cli({u"tidy"_qs}).status, 64);
        QCOMPARE(cli({u"preview"_qs, u"--yaml"_qs}).status, 64);
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"k"_qs}).status, 64);
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"k"_qs, u"x"_qs, u"--type"_qs, u"colour"_qs}).status, 64);
        QCOMPARE(cli({u"undo"_qs, u"not-a-run"_qs}).status, 64);
        QCOMPARE(cli({u"undo"_qs, QUuid::createUuid().toString(), QUuid::createUuid().toString()}).status, 64);
        for (const QString &command :
             {u"preview"_qs, u"organize"_qs, u"undo"_qs, u"last"_qs, u"history"_qs, u"settings"_qs}) {
            const Run help = cli({command, u"--help"_qs});
            QCOMPARE(help.status, 0);
            QVERIFY(help.out.contains("sorvanel-cli " + command.toUtf8()));
        }
    }

    // Every file left where it is comes with its reason, in the text and in JSON;
    // names with control characters can't drive the terminal.
    void previewNamesEverySkippedFileWithItsReason()
    {
        writeFile(downloads() / "a.pdf", "a", longAgo());
        writeFile(downloads() / ".hidden", "h", longAgo());
        writeFile(downloads() / "movie.mkv.part", "p", longAgo());
        writeFile(downloads() / "evil\x1b[2J\nname.txt", "e", longAgo());
        TestWriter writer;
        QVERIFY(writer.start(u"append"_qs, downloads() / "growing.iso"));
        QVERIFY(writer.write(100));
        const qint64 s = longAgo().toSecsSinceEpoch();
        const struct timespec times[2] = {{s, 0}, {s, 0}};
        ::utimensat(AT_FDCWD, (downloads() / "growing.iso").c_str(), times, 0);

        const Run json = cli({u"preview"_qs, u"--json"_qs});
        QCOMPARE(json.status, 0);
        const QJsonObject plan = json.json().object();
        QCOMPARE(plan.value(u"skipped"_qs).toInt(), 3);
        QMap<QString, QString> reasons;
        for (const auto &value : plan.value(u"skippedFiles"_qs).toArray())
            reasons.insert(value[u"filename"_qs].toString(), value[u"reason"_qs].toString());
        QCOMPARE(reasons.value(u".hidden"_qs), L10n::text("hidden"));
        QCOMPARE(reasons.value(u"movie.mkv.part"_qs), L10n::text("unfinished download"));
        QCOMPARE(reasons.value(u"growing.iso"_qs),
                 L10n::format("being written by %@ (pid %@)", {u"slowwriter"_qs, QString::number(writer.pid())}));

        const Run text = cli({u"preview"_qs});
        QCOMPARE(text.status, 0);
        const QString out = QString::fromUtf8(text.out);
        QVERIFY(out.contains(L10n::text("Left where they are:") + u'\n'));
        QVERIFY(out.contains(u"  growing.iso: "_qs + reasons.value(u"growing.iso"_qs) + u'\n'));
        QVERIFY(out.contains(u"  .hidden: "_qs + L10n::text("hidden") + u'\n'));
        QVERIFY(!text.out.contains('\x1b'));
    }

    void namesAreQuotedTheWayLsDoes_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("shown"); // as `ls --quoting-style=shell-escape` shows it
        QTest::newRow("plain") << QByteArray("plain.pdf") << QByteArray("plain.pdf");
        QTest::newRow("space") << QByteArray("two words.pdf") << QByteArray("'two words.pdf'");
        QTest::newRow("quote") << QByteArray("it's.pdf") << QByteArray("\"it's.pdf\"");
        QTest::newRow("quote and dollar") << QByteArray("it's $5.pdf") << QByteArray("'it'\\''s $5.pdf'");
        QTest::newRow("escape sequence and newline")
            << QByteArray("evil\x1b[2J\nname.txt") << QByteArray("'evil'$'\\033''[2J'$'\\n''name.txt'");
        QTest::newRow("not UTF-8") << QByteArray("\xff.bin") << QByteArray("$'\\377''.bin'");
        QTest::newRow("umlaut") << QByteArray("Übersicht.pdf") << QByteArray("Übersicht.pdf");
    }

    // Preview lists each name quoted as ls would: on one line, and such that
    // a shell reading it gets the exact name back.
    void namesAreQuotedTheWayLsDoes()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, shown);
        cli({u"settings"_qs, u"set"_qs, u"destinationPath"_qs, u"/sorted"_qs});
        writeFile(downloads() / name.toStdString(), "x", longAgo());
        const Run text = cli({u"preview"_qs});
        QCOMPARE(text.status, 0);
        const QByteArray line = text.out.left(text.out.indexOf('\n'));
        const QByteArray arrow = " \u2192 ";
        const QByteArray source = line.left(line.indexOf(arrow));
        const QByteArray prefix = QFile::encodeName(m_home->downloads()) + '/';
        // The folder part is plain; a quoted name quotes the whole path.
        QByteArray expected = shown;
        if (shown.startsWith('\'') || shown.startsWith('"'))
            expected.insert(1, prefix);
        else if (shown.startsWith('$'))
            expected.prepend("'" + prefix + "'");
        else
            expected.prepend(prefix);
        QCOMPARE(source, expected);
        // Pasted into a shell, each is the exact path again.
        const auto pasted = [](const QByteArray &quoted) {
            QProcess shell;
            shell.start(u"bash"_qs, {u"-c"_qs, u"printf %s "_qs + QString::fromUtf8(quoted)});
            shell.waitForFinished();
            return shell.readAllStandardOutput();
        };
        QCOMPARE(pasted(source), prefix + name);
        const QByteArray target = pasted(line.mid(line.indexOf(arrow) + arrow.size()));
        QVERIFY2(target.startsWith("/sorted/") && target.endsWith('/' + name), target.constData());
    }

    // A folder whose name is not UTF-8 is stored and used by its exact
    // bytes, as source and as destination: no look-alike folder appears.
    void foldersWhoseNamesAreNotUtf8()
    {
        const Path home = toPath(m_home->path());
        const Path source = home / "Down\xfcloads";
        std::filesystem::create_directories(source);
        writeFile(source / "a.pdf", "a", longAgo());
        // Through a shell, so that the bytes reach the program as they are.
        for (const auto &[key, name] :
             {std::pair{u"sourcePath"_qs, "Down\\374loads"}, std::pair{u"destinationPath"_qs, "Sort\\351"}}) {
            QProcess set;
            set.start(u"bash"_qs,
                      {u"-c"_qs,
                       u"\"$0\" settings set %1 \"$(printf '%s/%2' \"$1\")\""_qs.arg(key, QLatin1String(name)),
                       QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), m_home->path()});
            QVERIFY(set.waitForFinished());
            QCOMPARE(set.exitCode(), 0);
        }
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        QStringList filed;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(home / "Sort\xe9"))
            filed << QString::fromStdString(entry.path().filename().native());
        QVERIFY2(filed.contains(u"a.pdf"_qs), qPrintable(filed.join(u',')));
        QVERIFY(!std::filesystem::exists(source / "a.pdf"));
        // Nothing else was made in the home folder.
        QStringList folders;
        for (const auto &entry : std::filesystem::directory_iterator(home))
            folders << QString::fromUtf8(entry.path().filename().native());
        folders.sort();
        QCOMPARE(folders, (QStringList{u".config"_qs, u"Downloads"_qs, u"Down\ufffdloads"_qs, u"Sort\ufffd"_qs}));
    }

    void folderPathsAreTakenAsAShellTakesThem_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("stored"); // below the home; an empty path is refused with status 64
        QTest::newRow("relative") << u"sorted/new"_qs << u"/work/sorted/new"_qs;
        QTest::newRow("up") << u"../elsewhere/"_qs << u"/elsewhere"_qs;
        QTest::newRow("home") << u"~"_qs << QString();
        QTest::newRow("below home") << u"~/sorted"_qs << u"/sorted"_qs;
        QTest::newRow("whole, untidy") << u"HOME/./sorted//"_qs << u"/sorted"_qs;
        QTest::newRow("empty") << QString() << QString();
    }

    // Where the command runs decides what a relative path names, once: the
    // stored path is whole, whichever program reads it later.
    void folderPathsAreTakenAsAShellTakesThem()
    {
        QFETCH(QString, given);
        QFETCH(QString, stored);
        const QString work = m_home->path() + u"/work"_qs;
        QVERIFY(QDir().mkpath(work));
        given.replace(u"HOME"_qs, m_home->path());
        const bool refused = given.isEmpty();
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"destinationPath"_qs, given}, work).status, refused ? 64 : 0);
        const Run get = cli({u"settings"_qs, u"get"_qs, u"destinationPath"_qs});
        if (refused)
            QCOMPARE(get.status, 1);
        else
            QCOMPARE(QString::fromUtf8(get.out.trimmed()), m_home->path() + stored);
    }

    // A path that is not UTF-8 comes with its exact bytes beside its readable form.
    void jsonGivesExactBytesOfPathsThatAreNotUtf8()
    {
        const std::string name = "caf\xe9.txt"; // Latin-1, as an old archive names it
        writeFile(downloads() / name, "x", longAgo());
        const QJsonObject move =
            cli({u"preview"_qs, u"--json"_qs}).json().object().value(u"moves"_qs).toArray()[0].toObject();
        QCOMPARE(QByteArray::fromHex(move.value(u"sourceHex"_qs).toString().toLatin1()),
                 QByteArray::fromStdString((downloads() / name).native()));
        QVERIFY(QByteArray::fromHex(move.value(u"destinationHex"_qs).toString().toLatin1()).endsWith("/caf\xe9.txt"));
        QVERIFY(move.value(u"source"_qs).toString().endsWith(u"caf\ufffd.txt"_qs));
        // Dates are ISO 8601 with an explicit offset; a preview moves nothing and records nothing.
        QVERIFY(move.value(u"fileDate"_qs).toString().contains(QRegularExpression(u"[+-]\\d\\d:\\d\\d$"_qs)));
        QVERIFY(std::filesystem::exists(downloads() / name));
        QCOMPARE(cli({u"last"_qs, u"--json"_qs}).out.trimmed(), QByteArray("null"));
    }

    // A second download of a filed file, named as no UTF-8 text can say:
    // listed with where it is filed, by text and by bytes.
    void filesAlreadyFiledAreListedWithWhereTheyAre()
    {
        const std::string name = "caf\xe9.txt";
        writeFile(downloads() / name, "menu", longAgo());
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        writeFile(downloads() / name, "menu", longAgo());
        const Run preview = cli({u"preview"_qs});
        QVERIFY2(QString::fromUtf8(preview.out)
                     .contains(L10n::format("Move: %d", {0}) + u"   "_qs + L10n::format("Already filed: %d", {1})),
                 preview.out.constData());
        for (const QString &command : {u"preview"_qs, u"organize"_qs}) {
            const QJsonArray filed = cli({command, u"--json"_qs}).json().object().value(u"alreadyFiled"_qs).toArray();
            QCOMPARE(filed.size(), 1);
            const QJsonObject file = filed[0].toObject();
            QCOMPARE(QByteArray::fromHex(file.value(u"filenameHex"_qs).toString().toLatin1()),
                     QByteArray::fromStdString(name));
            const QByteArray filedAs = QByteArray::fromHex(file.value(u"filedAsHex"_qs).toString().toLatin1());
            QVERIFY2(
                QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\d/docs/caf"_qs).match(QString::fromLatin1(filedAs)).hasMatch()
                    && filedAs.endsWith("caf\xe9.txt"),
                filedAs.constData());
            QVERIFY(file.value(u"filedAs"_qs).toString().endsWith(u"caf\ufffd.txt"_qs));
        }
        QVERIFY(!std::filesystem::exists(downloads() / name));
        QVERIFY(QString::fromUtf8(cli({u"history"_qs}).out).contains(L10n::format("%d already filed", {1})));
    }

    // "Where did my file go?": found from a part of its name, with its exact
    // bytes in JSON, escaped on the terminal; 1 when nothing is found, 64
    // without anything to look for.
    void whereFindsAFiledFile()
    {
        const std::string name = "invoice march\xe9.pdf";
        writeFile(downloads() / name, "x", longAgo());
        writeFile(downloads() / "notes.txt", "y", longAgo());
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        const Run text = cli({u"where"_qs, u"MARCH"_qs});
        QCOMPARE(text.status, 0);
        QVERIFY2(text.out.startsWith("'invoice march'$'\\351''.pdf' \xe2\x86\x92 "), text.out.constData());
        const QJsonArray found = cli({u"where"_qs, u"march"_qs, u"--json"_qs}).json().array();
        QCOMPARE(found.size(), 1);
        const QJsonObject file = found[0].toObject();
        QCOMPARE(QByteArray::fromHex(file.value(u"filenameHex"_qs).toString().toLatin1()),
                 QByteArray::fromStdString(name));
        QCOMPARE(QByteArray::fromHex(file.value(u"sourceHex"_qs).toString().toLatin1()),
                 QByteArray::fromStdString((downloads() / name).native()));
        QVERIFY(std::filesystem::exists(
            QByteArray::fromHex(file.value(u"destinationHex"_qs).toString().toLatin1()).toStdString()));
        QCOMPARE(file.value(u"state"_qs).toString(), u"there"_qs);
        QCOMPARE(file.value(u"mode"_qs).toString(), u"manual"_qs);
        const QJsonArray history = cli({u"history"_qs, u"--json"_qs}).json().array();
        QCOMPARE(file.value(u"run"_qs).toString(), history[0].toObject().value(u"id"_qs).toString());
        QCOMPARE(file.value(u"runDate"_qs).toString(), history[0].toObject().value(u"date"_qs).toString());
        QCOMPARE(cli({u"where"_qs, u"*.TXT"_qs}).status, 0);
        QCOMPARE(cli({u"where"_qs, u"april"_qs}).status, 1);
        QCOMPARE(cli({u"where"_qs, u"april"_qs, u"--json"_qs}).out.trimmed(), QByteArray("[\n]"));
        QCOMPARE(cli({u"where"_qs}).status, 64);
    }

    void organizeRecordsAManualRun()
    {
        writeFile(downloads() / "a.pdf", "a", longAgo());
        writeFile(downloads() / "b", "b", longAgo());
        const Run run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.status, 0);
        const QJsonObject result = run.json().object();
        QCOMPARE(result.value(u"moved"_qs).toInt(), 2);
        QCOMPARE(result.value(u"failed"_qs).toInt(), 0);
        QVERIFY(!std::filesystem::exists(downloads() / "a.pdf"));
        const QJsonObject last = cli({u"last"_qs, u"--json"_qs}).json().object();
        QCOMPARE(last.value(u"moved"_qs).toInt(), 2);
        const QJsonArray history = cli({u"history"_qs, u"--json"_qs}).json().array();
        QCOMPARE(history.size(), 1);
        const QJsonObject entry = history[0].toObject();
        QCOMPARE(entry.value(u"mode"_qs).toString(), u"manual"_qs);
        QCOMPARE(entry.value(u"moved"_qs).toInt(), 2);
        QCOMPARE(entry.value(u"id"_qs).toString().size(), 36);
        QCOMPARE(entry.value(u"undone"_qs), QJsonValue(false));
        // The stored history shows as JSON, not as hexadecimal bytes.
        const QByteArray stored = cli({u"settings"_qs, u"get"_qs, u"runHistory"_qs}).out.trimmed();
        QVERIFY2(stored.startsWith("[{"), stored.constData());
        QCOMPARE(QJsonDocument::fromJson(stored).array().size(), 1);
    }

    // Ctrl+C stops a run after the file in hand. On a terminal the progress
    // shows on standard error until then; the run is recorded with what it
    // moved, the rest stays, and the status says it was stopped. The files
    // cross to another drive, one flush each, so the run lasts long enough.
    void ctrlCStopsARunCleanly()
    {
        const auto far = folderOnOtherFileSystem(m_home->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path source = toPath(far->path());
        const Path destination = downloads() / "sorted";
        constexpr int files = 3000;
        writeOldFiles(source, files);
        {
            SettingsStore store;
            store.saveFolder(source, std::nullopt, true);
            store.saveFolder(destination, std::nullopt, false);
        }
        // script(1) gives the program a terminal of its own.
        QProcess terminal;
        terminal.setProcessChannelMode(QProcess::MergedChannels);
        terminal.start(u"script"_qs, {u"-qec"_qs, u"exec \"$SORVANEL_CLI\" organize"_qs, u"/dev/null"_qs});
        QVERIFY(terminal.waitForStarted());
        const QByteArray moving = L10n::text("Moving files: %@ of %@").section(u'%', 0, 0).toUtf8();
        QByteArray shown;
        QTRY_VERIFY_WITH_TIMEOUT((shown += terminal.readAll()).contains(moving)
                                     && std::filesystem::exists(destination / ".sorvanel.lock"),
                                 20000);
        QFile children(u"/proc/%1/task/%1/children"_qs.arg(terminal.processId()));
        QVERIFY(children.open(QIODevice::ReadOnly));
        const pid_t program = children.readAll().trimmed().toInt();
        QVERIFY(program > 0);
        QCOMPARE(::kill(program, SIGINT), 0);
        QVERIFY(terminal.waitForFinished(60000));
        shown += terminal.readAll();
        QVERIFY2(terminal.exitCode() == 130, shown.constData());
        QVERIFY(shown.contains(L10n::text("Stopped. %d files were left where they are.").section(u'%', 0, 0).toUtf8()));

        const auto [left, moved] = whereTheFilesAre(source, destination);
        QVERIFY(left > 0 && moved > 0);
        QCOMPARE(left + moved, files);
        QCOMPARE(cli({u"last"_qs, u"--json"_qs}).json().object().value(u"moved"_qs).toInteger(), moved);
    }

    // Undo takes back the latest run by default, or the run named by the ID
    // that history prints; what can't go back makes status 1, nothing to
    // undo status 2.
    void undoTakesARunBack()
    {
        Run nothing = cli({u"undo"_qs, u"--json"_qs});
        QCOMPARE(nothing.status, 2);
        QCOMPARE(nothing.json().object().value(u"error"_qs).toString(), L10n::text("There is no cleanup to undo."));

        writeFile(downloads() / "a.pdf", "a", longAgo());
        writeFile(downloads() / "b.txt", "b", longAgo());
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        const QString firstId =
            cli({u"history"_qs, u"--json"_qs}).json().array()[0].toObject().value(u"id"_qs).toString();
        writeFile(downloads() / "c.png", "c", longAgo());
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        QCOMPARE(cli({u"undo"_qs, QUuid::createUuid().toString(QUuid::WithoutBraces)}).status, 2);

        // The older run by its ID; one of its names is taken meanwhile.
        writeFile(downloads() / "b.txt", "a new b", longAgo());
        const Run dry = cli({u"undo"_qs, firstId, u"--dry-run"_qs, u"--json"_qs});
        QCOMPARE(dry.status, 1);
        QCOMPARE(dry.json().object().value(u"restored"_qs).toInt(), 1);
        QVERIFY(!std::filesystem::exists(downloads() / "a.pdf"));
        const Run undo = cli({u"undo"_qs, firstId, u"--json"_qs});
        QCOMPARE(undo.status, 1);
        const QJsonObject result = undo.json().object();
        QCOMPARE(result.value(u"run"_qs).toString(), firstId);
        QCOMPARE(result.value(u"restored"_qs).toInt(), 1);
        QCOMPARE(result.value(u"failed"_qs).toInt(), 1);
        QCOMPARE(result.value(u"issues"_qs).toArray()[0].toObject().value(u"filename"_qs).toString(), u"b.txt"_qs);
        QCOMPARE(readFile(downloads() / "a.pdf"), QByteArray("a"));
        QCOMPARE(readFile(downloads() / "b.txt"), QByteArray("a new b"));

        // The latest run is the one left by default, named as history shows it,
        // and history says which are undone.
        const QByteArray latestAsListed = cli({u"history"_qs}).out.split('\n').value(0);
        const Run latest = cli({u"undo"_qs});
        QCOMPARE(latest.status, 0);
        const QList<QByteArray> said = latest.out.split('\n');
        const QByteArray date = latestAsListed.left(latestAsListed.indexOf("   "));
        QCOMPARE(said.value(0),
                 L10n::format("The run of %@ (%@):", {QString::fromUtf8(date), L10n::text("Manual")}).toUtf8());
        QVERIFY(said.value(1).startsWith(L10n::format("Put back: %d", {1}).toUtf8()));
        QCOMPARE(readFile(downloads() / "c.png"), QByteArray("c"));
        const QJsonArray history = cli({u"history"_qs, u"--json"_qs}).json().array();
        QCOMPARE(history.size(), 2);
        QVERIFY(history[0].toObject().value(u"undone"_qs).toBool());
        QVERIFY(history[1].toObject().value(u"undone"_qs).toBool());
        const QList<QByteArray> lines = cli({u"history"_qs}).out.trimmed().split('\n');
        QVERIFY(lines.value(0).endsWith("   " + L10n::text("Undone").toUtf8()));
        QVERIFY(lines.value(1).endsWith("   " + L10n::text("Partly undone").toUtf8())); // b.txt stayed
        QCOMPARE(cli({u"undo"_qs}).status, 2);
    }

    void issuesAndFailuresHaveTheirStatus()
    {
        writeFile(downloads() / "a.txt", "a", longAgo());
        // The destination lies under a file: the run finishes with one issue.
        writeFile(toPath(m_home->path()) / "blocker");
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"destinationPath"_qs, m_home->path() + QStringLiteral("/blocker/x")})
                     .status,
                 0);
        Run run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.json().object().value(u"issues"_qs).toArray().size(), 1);
        QVERIFY(std::filesystem::exists(downloads() / "a.txt"));
        const QJsonObject last = cli({u"last"_qs, u"--json"_qs}).json().object();
        QCOMPARE(last.value(u"issues"_qs).toArray()[0].toObject().value(u"filename"_qs).toString(),
                 L10n::text("Cleanup"));
        // A missing source is a configuration failure.
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"sourcePath"_qs, u"/nowhere/at/all"_qs}).status, 0);
        run = cli({u"organize"_qs});
        QCOMPARE(run.status, 2);
        QVERIFY(!run.err.trimmed().isEmpty());
        // With --json the reason also comes on standard output, for scripts.
        for (const QString &command : {u"preview"_qs, u"organize"_qs}) {
            run = cli({command, u"--json"_qs});
            QCOMPARE(run.status, 2);
            QCOMPARE(run.json().object().value(u"error"_qs).toString(),
                     L10n::text("The source folder does not exist."));
        }
        QCOMPARE(cli({u"history"_qs, u"--json"_qs}).json().array().size(), 1);
        // A threshold that would overflow is refused, not a crash.
        cli({u"settings"_qs, u"unset"_qs, u"sourcePath"_qs});
        // (The command line refuses it; another writer of the suite may not.)
        SettingsStore().defaults().set(SettingsSchema::Key::thresholdMB,
                                       DefaultsValue::integer(std::numeric_limits<qint64>::max()));
        QCOMPARE(cli({u"preview"_qs}).status, 2);
        QCOMPARE(cli({u"organize"_qs, u"--json"_qs}).json().object().value(u"error"_qs).toString(),
                 L10n::text("The large file threshold is too large."));
    }

    // A key the programs know takes its own type without --type, within its
    // bounds; what does not fit is refused with status 64 and stores nothing.
    // Other keys take the type --type names (a string without it). What is
    // stored reads back, is listed with its type, and can be removed.
    void settingsTakeTheirTypes_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("shown"); // what "settings get" prints after; empty: refused, nothing stored
        QTest::addColumn<QString>("type"); // as the listing names it
        const auto row = [](const char *name, const QStringList &arguments, const QString &shown,
                            const QString &type = {}) { QTest::newRow(name) << arguments << shown << type; };
        row("threshold", {u"thresholdMB"_qs, u"200"_qs}, u"200"_qs, u"integer"_qs);
        row("threshold, not a number", {u"thresholdMB"_qs, u"lots"_qs}, {});
        row("threshold, above", {u"thresholdMB"_qs, u"100001"_qs}, {});
        row("threshold as a string", {u"thresholdMB"_qs, u"200"_qs, u"--type"_qs, u"string"_qs}, {});
        row("switch", {u"automaticEnabled"_qs, u"true"_qs}, u"true"_qs, u"boolean"_qs);
        row("switch, maybe", {u"automaticEnabled"_qs, u"maybe"_qs}, {});
        row("re-downloads kept", {u"trashDuplicates"_qs, u"false"_qs}, u"false"_qs, u"boolean"_qs);
        row("re-downloads, a number", {u"trashDuplicates"_qs, u"2"_qs}, {});
        row("time of day", {u"automaticTime"_qs, u"7:30"_qs},
            Json::isoDate(QDateTime(QDate::currentDate(), QTime(7, 30))), u"date"_qs);
        row("time of day, 25:00", {u"automaticTime"_qs, u"25:00"_qs}, {});
        row("an unknown key stays a string", {u"colour"_qs, u"200"_qs}, u"200"_qs, u"string"_qs);
        row("string", {u"key"_qs, u"hello world"_qs, u"--type"_qs, u"string"_qs}, u"hello world"_qs, u"string"_qs);
        row("integer", {u"key"_qs, u"-42"_qs, u"--type"_qs, u"integer"_qs}, u"-42"_qs, u"integer"_qs);
        row("real", {u"key"_qs, u"2.5"_qs, u"--type"_qs, u"real"_qs}, u"2.5"_qs, u"real"_qs);
        row("date with offset", {u"key"_qs, u"2024-03-07T21:30:00.250+01:00"_qs, u"--type"_qs, u"date"_qs},
            u"2024-03-07T21:30:00.250+01:00"_qs, u"date"_qs);
        row("date in UTC", {u"key"_qs, u"2024-03-07T20:30:00Z"_qs, u"--type"_qs, u"date"_qs},
            u"2024-03-07T21:30:00.000+01:00"_qs, u"date"_qs);
        row("data", {u"key"_qs, u"00ff10"_qs, u"--type"_qs, u"data"_qs}, u"00ff10"_qs, u"data"_qs);
    }

    void settingsTakeTheirTypes()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, shown);
        QFETCH(QString, type);
        const QString &key = arguments[0];
        const Run set = cli(QStringList{u"settings"_qs, u"set"_qs} + arguments);
        QCOMPARE(set.status, shown.isEmpty() ? 64 : 0);
        if (shown.isEmpty()) {
            QVERIFY(!set.err.isEmpty());
            QCOMPARE(set.err.contains("HH:MM"), key == u"automaticTime"); // a time says how to write one
            QCOMPARE(cli({u"settings"_qs, u"get"_qs, key}).status, 1);
            return;
        }
        // A key no program reads is stored, with a note that it is unknown.
        QCOMPARE(set.err.contains(key.toUtf8()), key == u"colour" || key == u"key");
        QCOMPARE(QString::fromUtf8(cli({u"settings"_qs, u"get"_qs, key}).out.trimmed()), shown);
        QVERIFY(QString::fromUtf8(cli({u"settings"_qs}).out).contains(key + u'\t' + type + u'\t' + shown));
        QCOMPARE(cli({u"settings"_qs, u"unset"_qs, key}).status, 0);
        QCOMPARE(cli({u"settings"_qs, u"get"_qs, key}).status, 1);
    }

    // The automatic switch brings the daily timer with it, as the app's
    // does; where systemd refuses, the switch stays stored and the user
    // reads why. Other settings leave the timer alone.
    void automaticSwitchBringsTheTimer()
    {
        const QString timer = u"io.github.sorvanel.Sorvanel.agent.timer"_qs;
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"automaticEnabled"_qs, u"true"_qs}).status, 0);
        QCOMPARE(m_systemctl->calls(),
                 (QStringList{u"--user is-enabled "_qs + timer, u"--user daemon-reload"_qs,
                              u"--user enable --now "_qs + timer}));
        QVERIFY(QFile::exists(m_home->configHome() + u"/systemd/user/"_qs + timer));

        m_systemctl->setState("enabled");
        m_systemctl->clearCalls();
        QCOMPARE(cli({u"settings"_qs, u"unset"_qs, u"automaticEnabled"_qs}).status, 0); // off by default
        QCOMPARE(m_systemctl->calls(),
                 (QStringList{u"--user is-enabled "_qs + timer, u"--user disable --now "_qs + timer}));

        m_systemctl->setState("disabled");
        m_systemctl->failWith("Failed to connect to bus: No medium found");
        const Run refused = cli({u"settings"_qs, u"set"_qs, u"automaticEnabled"_qs, u"true"_qs});
        QCOMPARE(refused.status, 1);
        QVERIFY(QString::fromUtf8(refused.err)
                    .contains(L10n::text("Automatic cleanup needs the user service manager (systemd), which is not "
                                         "running in this session. Sorvanel can still be run by hand.")));
        QCOMPARE(cli({u"settings"_qs, u"get"_qs, u"automaticEnabled"_qs}).out.trimmed(), QByteArray("true"));

        m_systemctl->clearCalls();
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"automaticTime"_qs, u"07:30"_qs}).status, 0);
        QVERIFY(m_systemctl->calls().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
