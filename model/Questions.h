#pragma once

#include "model/Collection.h"
#include "model/Question.h"

// The items of an exam, 1-based, at most 32,767.
class Questions : public Collection<Question>
{
};
