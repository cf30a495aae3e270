# SPDX-License-Identifier: MIT
"""What type checkers are told of arrays. Where NumPy is missing they are memory views, which can do less."""

from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    import numpy
    from numpy.typing import NDArray

    Array = NDArray[Any]
    Floats = NDArray[numpy.float32]
    Doubles = NDArray[numpy.float64]
    Bytes = NDArray[numpy.uint8]
    Words = NDArray[numpy.uint32]
    Keys = NDArray[numpy.uint64]
    RecordArray = numpy.recarray[Any, Any]
else:
    Array = Floats = Doubles = Bytes = Words = Keys = RecordArray = Any
