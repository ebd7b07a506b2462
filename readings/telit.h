#pragma once

#include "readings/report.h"

// Telit (AT references of LE910, LM940, LM960, FN980, FN990).

/// AT#MONI: the serving cell as words of key and value. @return false when it names no cell
bool read_moni(std::string_view reply, Report &report);

/// AT#RFSTS: levels, network and cell. @return false when it has no levels
bool read_rfsts(std::string_view reply, Report &report);

/// AT#SERVINFO: the serving cell of LTE. @return false when it is no line of LTE
bool read_servinfo(std::string_view reply, Report &report);

/// AT^SMONI (Cinterion): the serving cell. @return false when the reply has no row that is known
bool read_smoni(std::string_view reply, Report &report);
