#include "app/ErrorReason.h"

namespace veltra {

QString reasonOf(const Error& error)
{
    return QString::fromLocal8Bit(error.code().message().c_str());
}

} // namespace veltra
