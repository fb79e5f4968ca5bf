// The watch over logins that are kept: it ends them in time even if the provider calls nothing any more. How long a
// login is kept unused is Settings::loginLife.
#pragma once

namespace adapter {

// StartIdleWatch makes sure that a thread runs which ends the idle logins of the process's adapter. It sleeps until the
// next login is due, and ends when there is none. It takes the lock of the entries, as an application's thread does.
// The library stays loaded from then on.
void StartIdleWatch();

}  // namespace adapter
