#pragma once

/// Whether a person watches: standard error is a terminal.
bool person_watches();

/// Tells the person at the terminal what the promised output leaves out: "modemctl: ", the text and a line end on
/// standard error. Prints nothing where that is no terminal, so no script ever sees it.
void tell_person(const char *format, ...) __attribute__((format(printf, 1, 2)));
