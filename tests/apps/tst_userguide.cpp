#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

#include "support/program.h"

namespace {

/// A command of the guide and what it shows.
struct Step
{
    QString command;
    QStringList output;
};

/// Those of the blocks that begin with a prompt; blocks are indented by four spaces, and
/// "> " continues a command.
QList<Step> stepsOf(const QString& page)
{
    QList<Step> steps;
    const QRegularExpression block("(?:^|\n\n)((?:    [^\n]*\n+)+)");
    for (auto found = block.globalMatch(page); found.hasNext();) {
        QStringList lines = found.next().captured(1).trimmed().split('\n');
        if (!lines.first().startsWith("$ "))
            continue;
        for (const QString& line : lines.replaceInStrings(QRegularExpression("^    "), QString())) {
            if (line.startsWith("$ "))
                steps << Step{line.mid(2), {}};
            else if (line.startsWith("> "))
                steps.last().command += '\n' + line.mid(2);
            else
                steps.last().output << line;
        }
    }
    return steps;
}

/// "..." as a line stands for any lines, … in a line for any text.
bool isAsShown(const QString& output, const QStringList& shown)
{
    QStringList patterns;
    for (const QString& line : shown) {
        const QString pattern = QRegularExpression::escape(line).replace("\\…", "[^\n]*");
        patterns << (line == "..." ? "(?:[^\n]*\n)*" : pattern + "\n");
    }
    return QRegularExpression('^' + patterns.join(QString()) + '$').match(output).hasMatch();
}

/// A shell script of @p steps, each with its output in a file of its own. What runs in
/// the background ends with the script.
QByteArray scriptOf(const QList<Step>& steps)
{
    QString script = "trap 'kill $(jobs -p) 2>/dev/null; wait' EXIT\nPATH=$PWD/bin:$PATH\n";
    for (int i = 0; i < static_cast<int>(steps.size()); ++i) {
        const QString& command = steps.at(i).command;
        const char* const form =
            command.endsWith('&') ? "> out.%1 2>&1 %2\nuntil [ -s out.%1 ]; do sleep 0.05; done\n"
                                  : "{ %2\n} > out.%1 2>&1\n";
        script += QString(form).arg(i).arg(command);
    }
    return script.toUtf8();
}

void write(const QString& path, const QByteArray& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

QString textOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).remove('\r')
                                          : QString();
}

}

/// The user's guide, followed to the letter.
class TestUserGuide : public QObject
{
    Q_OBJECT

private slots:
    void showsWhatHappens();
};

// Catches: a command of the guide that no longer works, or does something else than the
// guide shows.
void TestUserGuide::showsWhatHappens()
{
    const QList<Step> steps = stepsOf(textOf(GUIDE_FILE));
    QVERIFY(steps.size() > 20);
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir("bin"));
    const QString df1 = folder.filePath("bin/df1");
    write(df1, "#!/bin/sh\nexec '" + support::df1({}).join("' '").toUtf8() + "' \"$@\"\n");
    QFile::setPermissions(df1, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    write(folder.filePath("script"), scriptOf(steps));

    support::Program shell({"/usr/bin/env", "-C", folder.path(), "XDG_CONFIG_HOME=config",
                            "LC_ALL=C.UTF-8", "/bin/bash", "script"});
    shell.end(100000);
    for (int i = 0; i < static_cast<int>(steps.size()); ++i) {
        const QString output = textOf(folder.filePath(QStringLiteral("out.%1").arg(i)));
        if (!isAsShown(output, steps.at(i).output))
            QTest::qVerify(false, qPrintable(steps.at(i).command), qPrintable(output), GUIDE_FILE,
                           i);
    }
}

QTEST_GUILESS_MAIN(TestUserGuide)
#include "tst_userguide.moc"
