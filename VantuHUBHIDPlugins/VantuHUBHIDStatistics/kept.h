// SPDX-License-Identifier: Apache-2.0
// What lives to the end of the process on purpose, because something that is never unregistered may still use it.
#pragma once

// Remembers a pointer for the life of the process, so that what it points to is never lost, even when the object that
// it was made for is gone. Nothing for NULL, and when there is no memory to note it. [event system's thread]
void keepToTheEnd(const void* kept) noexcept;
