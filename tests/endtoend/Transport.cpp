#include "tests/endtoend/Transport.h"

#include "tests/endtoend/DropInTransport.h"
#include "tests/endtoend/GadgetTransport.h"
#include "tests/endtoend/UmockdevTransport.h"
#include "tests/endtoend/WineTransport.h"

#include <memory>

const Transport &Transport::chosen()
{
    static const std::unique_ptr<Transport> transport = []() -> std::unique_ptr<Transport> {
        const QByteArray name = qgetenv("VELMO_TRANSPORT");
        if (name.isEmpty() || name == "drop-in")
            return std::make_unique<DropInTransport>();
        if (name == "umockdev")
            return std::make_unique<UmockdevTransport>();
        if (name == "gadget")
            return std::make_unique<GadgetTransport>();
        if (name == "wine")
            return std::make_unique<WineTransport>();
        qFatal("VELMO_TRANSPORT: there is no transport '%s'", name.constData());
    }();
    return *transport;
}
