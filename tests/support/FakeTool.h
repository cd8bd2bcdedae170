#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QString>

/// Installs a stand-in for the DSP vendor's tool (fakeTool.cpp) where the updater looks for
/// it: beside the test program.
class FakeTool
{
public:
    /// The path of a file in the tool's folder.
    static QString beside(const char *name)
    {
        return QDir(QCoreApplication::applicationDirPath()).filePath(QString::fromLatin1(name));
    }

    /// Installs a tool that does what the lines of `plan` say.
    static bool install(const QByteArray &plan)
    {
        remove();
        QFile file(beside("ktTool.plan"));
        return QFile::copy(beside("../fake_tool/" VELMO_FAKE_TOOL), beside("ktTool.exe")) &&
               file.open(QIODevice::WriteOnly) && file.write(plan) == plan.size();
    }

    static void remove()
    {
        for (const char *name : {"ktTool.exe", "ktTool.plan"})
            QFile::remove(beside(name));
    }
};
