// operator/methods.h - the six methods and the steps they are made of.
//
// The steps return 0 or a status that ends the method; what they return is reported already.

#ifndef FENWIRE_OPERATOR_METHODS_H
#define FENWIRE_OPERATOR_METHODS_H

#include "infrastructure/infrastructure.h"

PxStatus PX_Initiate(PxOperator *handle, uint32_t phase);
PxStatus PX_Execute(PxOperator *handle, uint32_t phase);
PxStatus PX_Terminate(PxOperator *handle, uint32_t phase);
PxStatus PX_Checkpoint(PxOperator *handle, uint32_t phase);
PxStatus PX_Restart(PxOperator *handle, uint32_t phase);
PxStatus PX_Event(PxOperator *handle);

// ---- Initiate
PxStatus FW_Initiate();         // instance attributes, logs, banner, general attributes
PxStatus FW_FenwireInit();      // starts the access layer, settles the character set
PxStatus FW_FenwireAttach();    // attaches the module
PxStatus FW_FenwireFileInfo();  // file attributes, schema, parsing case, buffer size
PxStatus InitPhase2();          // takes and opens this instance's first file. 0, 42 or a failure

// ---- Files
PxStatus FW_FenwireOpen(const char *path);  // opens the current data file into pmfp. 0, 42, 48

// ---- Terminate and statistics
PxStatus FW_Terminate(uint32_t step);
void PutJobStats();
void PutFileCounts(uint32_t ended);      // counts of the current file, once for each file
PxStatus EndMethod(const char *reason);  // sets the latch, sends the statistics, answers 42

// An attribute or a feature that this version does not have: message 19990, exit code 12, 48.
PxStatus NotAvailable(const char *attribute, const char *feature);

#endif
