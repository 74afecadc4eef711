#pragma once

#include "model/Choice.h"
#include "model/Collection.h"

// The options of one item, 1-based.
class Choices : public Collection<Choice>
{
};
