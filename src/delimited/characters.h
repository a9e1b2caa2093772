// delimited/characters.h - the characters of a column, for scanners that walk characters.
//
// CharacterLength holds the bytes of each character of the open column. An escaped mark is one
// character, however many bytes it has. Kept: a quote escape that stays in the data, because what
// follows it needs no escape, has no entry; trims and truncation of such a column pass over it.
//
// Walk::Characters enters each character as it comes. Walk::Lazily enters nothing until it meets an
// entry that can't be told from the bytes later, and the rest only when a trim or a truncation asks.

#ifndef FENWIRE_DELIMITED_CHARACTERS_H
#define FENWIRE_DELIMITED_CHARACTERS_H

#include "delimited/delimited_state.h"
#include "delimited/scan_state.h"

// Room for one entry for each byte of a record. False: no memory; reported.
bool GrowCharacterLength(uint32_t record_length);
void FreeCharacterLength();

// Bytes of the character at the cursor, at most up to the record's end. False: the scan stops here.
bool CharacterStep(ScanState &s, uint32_t *width);

void EnterCharacter(ScanState &s, uint32_t bytes);

// Lazily: the bytes at the cursor stand for one character (or, has_entry false, for none) that their
// values don't tell.
void EnterSpecial(ScanState &s, uint32_t bytes, bool has_entry);

// Lazily: enters what is still missing of a column of so many bytes.
void EnterRest(ScanState &s, uint32_t column_length);

// Bytes of the character at a place with so many bytes left, at least 1, none of which is read over.
uint32_t CharacterWidth(const uint8_t *at, uint32_t left);

// The same of a character that a scan goes on behind; false: it would stop there.
bool IsReadableCharacter(const uint8_t *at, uint32_t left, uint32_t *width);

// Bytes of the characters at data that fit into a maximum.
uint32_t FittingBytes(const uint8_t *data, uint32_t length, uint32_t maximum);

#endif
