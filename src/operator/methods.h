// operator/methods.h - the six methods and the steps they are made of.
//
// The steps return 0 or a status that ends the method; what they return is reported already.

#ifndef FENWIRE_OPERATOR_METHODS_H
#define FENWIRE_OPERATOR_METHODS_H

#include "infrastructure/infrastructure.h"
#include "operator/messages.h"  // NotAvailable: the steps of features to come end in it

PxStatus PX_Initiate(PxOperator *handle, uint32_t phase);
PxStatus PX_Execute(PxOperator *handle, uint32_t phase);
PxStatus PX_Terminate(PxOperator *handle, uint32_t phase);
PxStatus PX_Checkpoint(PxOperator *handle, uint32_t phase);
PxStatus PX_Restart(PxOperator *handle, uint32_t phase);
PxStatus PX_Event(PxOperator *handle);

// ---- Common to the methods
void EnterMethod(PxOperator *handle, const char *method, uint32_t phase);
PxStatus InvalidPhase(uint32_t phase);  // 19148, exit code 12, 48

// ---- Initiate
PxStatus FW_Initiate();         // instance attributes, logs, banner, general attributes
PxStatus FW_FenwireInit();      // starts the access layer, settles the character set
PxStatus FW_FenwireAttach();    // attaches the module
PxStatus FW_FenwireFileInfo();  // file attributes, schema, parsing case, buffer size
PxStatus InitPhase2();          // takes and opens this instance's first file. 0, 42 or a failure

// ---- Files
PxStatus FW_FenwireOpen(const char *path);  // opens the current data file into pmfp. 0, 42, 48
PxStatus OpenCurrentFile();  // the same for the current element of FileNames, and announces it
PxStatus EndOfFile();        // closes the current file and opens the next. 0; 12: there is none
PxStatus File_Out();         // closes the file that was written. 0 or 48, reported
void NoteWrittenSize();      // its size becomes the one in CurrentFile

// ---- Execute
PxStatus CheckJobRowSize();     // of phase 1
PxStatus CheckForDeleteTask();  // of the first call

// ---- Terminate and statistics
PxStatus FW_Terminate(uint32_t step);
void PutJobStats();
enum : uint32_t { kLeftInFailure = 0, kFileEnded = 1, kCountedSoFar = 2 };
void PutFileCounts(uint32_t ended);      // counts of the current file; the first two once only
PxStatus EndMethod(const char *reason);  // sets the latch, sends the statistics, answers 42

// ---- Attributes that a method reads by itself
// The value of an attribute of a fixed length in bytes, into to. 48, reported, when there is none.
PxStatus ReadRequiredAttribute(const char *name, void *to, int32_t bytes);

#endif
