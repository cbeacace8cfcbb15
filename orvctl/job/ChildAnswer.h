#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace orv::ctl {

// What `work` returns, run in a child process: a call that sleeps in the kernel holds up that
// process alone, which is then killed and left behind. A CtlError of `work` is thrown here. `what`
// begins the texts of the errors of the waiting itself: "cannot scan /mnt". Throws CtlError when
// there is no answer within `limit` (0: none), or the child ends without one.
[[nodiscard]] std::string answerOfChild(const std::function<std::string()>& work,
                                        std::chrono::seconds limit, const std::string& what);

}  // namespace orv::ctl
