// The watch over kept logins: it ends them in time even if the provider makes no further call. Settings::loginLife is
// how long an unused login is kept.
#pragma once

namespace adapter {

// StartIdleWatch makes sure that a thread is running that ends the idle logins of the process's adapter. It sleeps
// until the next login is due, and ends when there is none. It takes the lock of the entries, as an application's
// thread does. The library stays loaded from then on.
void StartIdleWatch();

}  // namespace adapter
