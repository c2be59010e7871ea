#pragma once

#include "particle_system/ps_operation_factory.h"

namespace Ps
{

class Allocator;

// The context's table of operation factories (ps_operation_factories.cpp).
uint32 operationFactoriesPoolSize();
void createOperationFactories(Allocator& allocator, const OperationFactory* (&table)[OF_Count]);

}  // namespace Ps
