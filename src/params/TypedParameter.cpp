// The parameter instances of the SDK, compiled once here rather than in every
// unit that registers a parameter.
#include "params/TypedParameter.h"

template class TpParameterNumeric<unsigned char, ClParameter>;
template class TpParameterNumeric<int, ClParameter>;
template class TpParameterNumeric<long, ClParameter>;
template class TpParameterNumeric<double, ClParameter>;
template class TpParameterEnumPointer<unsigned char, ClParameter>;
template class TpParameterEnumPointer<long, ClParameter>;
template class TpParameterEnumPointer<char*, ClParameter>;
template class TpParameterEnumPointer<bool, ClParameter>;
template class TpParameterString<char*, ClParameter, 0>;
