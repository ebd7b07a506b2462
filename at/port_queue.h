#pragma once

/// Our own processes (command line, web back end, scripts) line up for a port before they try for its lock, so that a
/// busy port costs them time and not their answer. Waits until all who came before are done, at most 3 s; without a
/// wait when nobody is there. Who has waited in vain, or cannot line up, tries for the lock all the same.
///
/// fd is the port itself, opened for reading and writing. The queue is made of record locks on it, far behind any byte
/// that a device has:
///
/// - Each one holds a place, a byte that it has locked. A newcomer takes the byte behind the last one, and its turn
///   comes when no byte before its own is locked. So the order is that of coming.
/// - Two newcomers must not see the same last place. The first byte is a gate: who holds it looks for a place, which
///   takes a few system calls.
/// - The locks belong to the open file (F_OFD_SETLK), not to the process: two threads of a web back end are two in the
///   queue, and another descriptor of the same port that closes takes no lock with it. The kernel lets go of a place
///   when its file is closed, at the end of a transaction, and when its process is killed, in the middle of the queue
///   too. Nothing is left to clean up. A child that is forked meanwhile keeps the place as it keeps the port's lock.
/// - There is no file or folder that somebody could make before us, put a link in place of, or fill up. Only who may
///   open the port can lock its bytes, and who may open it could take its lock as well.
/// - No kernel call waits for such a lock with a deadline, but for a signal, and signals are the host process's. So a
///   place is looked at every 2 ms, short beside the 60 ms that a transaction takes.
///
/// A lock of many bytes is another program's, for the whole port: it is not waited for here.
void wait_for_turn(int fd);

/// The lock is taken before the port is touched: attributes set, restored and queues discarded by one that has to give
/// up would cost the holder bytes of its reply. What waits, waits as long as if it had prepared the port first.
/// The queue of our own processes comes first, so that these tries meet strangers only.
/// @return false when another process keeps the port after 31 tries
bool lock_port(int fd);
