# SPDX-License-Identifier: MIT
"""Linear blend skinning. Skins come from arrays or from a mesh cache file, never from an archive."""

import ctypes
from typing import Any, Optional

from . import _raw
from ._arrays import as_array, pointer_to, take, take_exactly
from ._library import raw
from ._records import Owner, Record
from ._types import Floats, RecordArray
from ._values import field_bytes


def _interleave(records: Any, offset: int, source: Any) -> None:
    """Writes the entries of `source` into a field of packed records, byte column by byte column."""
    stride = ctypes.sizeof(records._type_)
    width = ctypes.sizeof(source) // len(records)
    target, columns = memoryview(records).cast("B"), memoryview(source).cast("B")
    for byte in range(width):
        target[offset + byte :: stride] = columns[byte::width]


class Skin(Owner):
    """Joints, and for each vertex up to four of them with weights."""

    _made_by = "Skin.from_arrays(joint_transforms, joints, weights)"

    @classmethod
    def from_arrays(
        cls, joint_transforms: Any, joints: Any, weights: Any, *, descriptors: Optional[bytes] = None,
        bind_extra: bytes = b"",
    ) -> "Skin":
        """A skin with copies of the arrays, since its records mix them.

        `joint_transforms` holds 16 doubles per joint (or 4 rows of 4), `joints` and `weights` four entries per vertex;
        `descriptors` 200 bytes per joint and `bind_extra` up to 128 bytes are only carried.
        """
        matrices = take(joint_transforms, ctypes.c_double, 16, "joint_transforms", rows=(16, 4))
        numbers = take(joints, ctypes.c_uint8, 4, "joints")
        shares = take_exactly(weights, ctypes.c_float, len(numbers), "weights", rows=(4,))
        joint_records = (_raw.qel_skin_joint * (len(matrices) // 16))()
        weight_records = (_raw.qel_skin_weight * (len(numbers) // 4))()
        if descriptors is not None:
            texts = take_exactly(descriptors, ctypes.c_uint8, len(joint_records) * 200, "descriptors", rows=(200,))
        else:
            texts = (ctypes.c_uint8 * (len(joint_records) * 200))()
        if len(bind_extra) > 128:
            raise ValueError("bind_extra has at most 128 bytes")
        if len(joint_records) > 0:
            _interleave(joint_records, _raw.qel_skin_joint.descriptor.offset, texts)
            _interleave(joint_records, _raw.qel_skin_joint.joint_transform.offset, matrices)
        if len(weight_records) > 0:
            _interleave(weight_records, _raw.qel_skin_weight.joints.offset, numbers)
            _interleave(weight_records, _raw.qel_skin_weight.weights.offset, shares)
        value = _raw.qel_skin(
            pointer_to(joint_records), len(joint_records), pointer_to(weight_records), len(weight_records))
        value.bind_extra[: len(bind_extra)] = bind_extra
        return cls._of(Record(value, keep=(joint_records, weight_records)))

    def _facts(self) -> str:
        return "of {} joints for {} vertices".format(self.joint_count, self.weight_count)

    @property
    def joint_count(self) -> int:
        """The number of joints."""
        return int(self._held().value.joint_count)

    @property
    def weight_count(self) -> int:
        """The number of vertices that are skinned."""
        return int(self._held().value.weight_count)

    @property
    def joints(self) -> Optional[RecordArray]:
        """The joints in place: fields `descriptor`, `joint_transform`."""
        return self._array("joints", "joint_count")

    @property
    def weights(self) -> Optional[RecordArray]:
        """The vertices' joints in place: fields `joints`, `weights`."""
        return self._array("weights", "weight_count")

    @property
    def bind_extra(self) -> bytes:
        """128 bytes that the mesh cache file carries."""
        return field_bytes(self._held().value, "bind_extra")

    def apply(self, pose_matrices: Any, positions: Any) -> Floats:
        """The positions moved by the joints. A pose is 16 doubles per joint; positions are one triple per vertex."""
        held = self._held()
        poses = take_exactly(
            pose_matrices, ctypes.c_double, held.value.joint_count * 16, "pose_matrices", rows=(16, 4))
        count = held.value.weight_count
        points = take_exactly(positions, ctypes.c_float, count * 3, "positions", rows=(3,))
        moved = (ctypes.c_float * (count * 3))()
        raw.qel_skin_apply(ctypes.byref(held.value), poses, points, moved)
        return as_array(moved, (count, 3))
