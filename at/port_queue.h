#pragma once

inline constexpr int longest_wait_ms = 3000;

/// Our own processes (command line, web back end, scripts) line up for a port before they try for its lock, so that a
/// busy port costs them time and not their answer. Waits until all processes that came first are done, at most 3 s;
/// returns at once if the queue is empty. After a wait in vain, or if it cannot line up, a process still tries for the
/// lock.
///
/// fd is the port itself, opened for reading and writing. The queue is made of record locks on it, far beyond any byte
/// that a device has:
///
/// - Each process holds a place: a byte that it has locked. A newcomer locks the byte after the last place. Its turn
///   comes when no byte before its own is locked. So the order is the order of arrival.
/// - Two newcomers must not see the same last place. The first byte is a gate: only the process that has locked it
///   looks for a place, which takes a few system calls.
/// - The locks belong to the open file (F_OFD_SETLK), not to the process: two threads of a web back end have two places
///   in the queue, and closing another descriptor of the same port releases no lock. The kernel releases a place when
///   its file is closed, at the end of a transaction, and when its process is killed, in the middle of the queue too.
///   Nothing is left to clean up. A child that is forked meanwhile keeps the place as it keeps the port's lock.
/// - There is no file or folder that another user could make first, replace by a link, or fill up. Only a process that
///   may open the port can lock its bytes, and such a process could take the port's lock as well.
/// - A kernel call can wait for such a lock with a deadline only by a signal, and signals belong to the host process.
///   So a place is checked every 2 ms, which is short beside the 60 ms of a transaction.
///
/// A lock of many bytes belongs to another program, for the whole port. The queue does not wait for it.
/// @param limit_ms  the longest wait; tests on a busy machine take more
void wait_for_turn(int fd, int limit_ms = longest_wait_ms);

/// The lock is taken before the port is touched: attributes set, restored and queues discarded by one that has to give
/// up would cost the holder bytes of its reply. What waits, waits as long as if it had prepared the port first.
/// The program's own processes queue first, so that these tries meet other programs only.
/// @return false when another process keeps the port after 31 tries
bool lock_port(int fd);
