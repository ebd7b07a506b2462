#pragma once

/// True if a person watches: standard error is a terminal.
bool person_watches();

/// Prints what the promised output leaves out, for the person at the terminal: "modemctl: ", the text and a line end on
/// standard error. Prints nothing if that is not a terminal, so no script ever sees it.
void tell_person(const char *format, ...) __attribute__((format(printf, 1, 2)));
