// Standard input, output and error of a process that was started without them.
#pragma once

namespace service {

/// A standard stream that was closed fails when it is used, from now on. Otherwise the next socket
/// would get its number, and be sent what is printed. To be called before anything is opened.
void occupyClosedStreams() noexcept;

}  // namespace service
