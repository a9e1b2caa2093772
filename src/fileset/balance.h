// fileset/balance.h - dealing files to instances by size.
//
// In scan order each file goes to the instance that has the least so far, ties to the lowest number.
// The first files, one for each instance, are dealt in turn before there is anything to compare.

#ifndef FENWIRE_FILESET_BALANCE_H
#define FENWIRE_FILESET_BALANCE_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// What an instance has to do, as full billions of bytes and the rest. Ordered as it is compared.
struct InstanceLoad {
    uint64_t billions;
    uint64_t rest;
    int32_t instance;  // from 1
};

// The least loaded instance stands at loads[0] (a binary heap).
void BuildLoadHeap(InstanceLoad *loads, int32_t count);

// Adds a file to the least loaded instance and answers which it was.
int32_t GiveToLeastLoaded(InstanceLoad *loads, int32_t count, int64_t bytes);

// Instance 1: settles the instance of every element of FileNames.
PxStatus BalanceLoad();

#endif
