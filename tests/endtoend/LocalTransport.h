#pragma once

#include "tests/endtoend/Transport.h"

/// The program of this machine: with the drop-in library in the HID library's place, or
/// with a host around it that gives the HID library itself devices to find.
class LocalTransport : public Transport
{
public:
    /// \param host     name of the program around the updater; "" is the drop-in library.
    /// \param refused  settings that the microphone cannot follow there.
    LocalTransport(QString host, const QByteArrayList &refused);

    QStringList command() const override;
    void prepare(QProcessEnvironment *environment) const override;
    QString resultFile(const QString &home) const override;

private:
    QString hostName;
};
