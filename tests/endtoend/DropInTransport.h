#pragma once

#include "tests/endtoend/Transport.h"

/// A library that takes the HID library's place: all that the settings can say.
class DropInTransport : public Transport
{
public:
    QStringList command() const override;
    void prepare(QProcessEnvironment *environment) const override;
    QString resultFile(const QString &home) const override;
    QByteArray lineEnd() const override { return "\n"; }
    bool offers(const Scenario & /*scenario*/) const override { return true; }
};
