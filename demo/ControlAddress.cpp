#include "demo/ControlAddress.h"

#include <algorithm>
#include <iterator>

namespace veltra {

Result<ControlAddress> ControlAddress::of(const std::string& path)
{
    ControlAddress address;
    if (path.size() >= std::size(address.address_.sun_path))
        return Error{std::make_error_code(std::errc::filename_too_long), "use socket", path};

    address.address_.sun_family = AF_UNIX;
    std::ranges::copy(path, std::begin(address.address_.sun_path));
    return address;
}

} // namespace veltra
