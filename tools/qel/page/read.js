// The data in the page: a header of JSON and packed arrays as text. Decodes what the tool's page_block.cpp packs.
// Other sources of such a header and arrays call openModel(header, read) and do not need this file.
class Damaged extends Error {}

function fromBase64(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const characters = atob(text), bytes = new Uint8Array(characters.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = characters.charCodeAt(i);
  return bytes;
}

function joined(parts) {
  if (parts.length === 1) return parts[0];
  const bytes = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
  let at = 0;
  for (const part of parts) {
    bytes.set(part, at);
    at += part.length;
  }
  return bytes;
}

async function inflated(bytes, size) {
  const reader = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate')).getReader();
  const out = new Uint8Array(size);
  for (let at = 0; ;) {
    const { done, value } = await reader.read();
    if (done && at === size) return out;
    if (done || at + value.length > size) throw new Damaged('an array has another length than the page says');
    out.set(value, at);
    at += value.length;
  }
}

const arrayTypes = { 1: Uint8Array, 2: Uint16Array, 4: Uint32Array, 8: BigUint64Array };

// The first numbers of all elements precede the second ones, and their lowest bytes precede the second ones. A number
// is the difference from that of the element before, with the sign in the lowest bit.
function unfolded(bytes, { width, stride, count }) {
  if (stride === 0) return new arrayTypes[width](bytes.buffer, 0, count);
  const out = new Uint32Array(count), high = width > 1 ? count : 0, third = count * 2, fourth = count * 3; // one type, so that the loop is compiled once
  for (let part = 0, place = 0; part < stride; ++part) {
    let value = 0;
    for (let i = part; i < count; i += stride, ++place) {
      let folded = bytes[place];
      if (width > 1) folded |= bytes[high + place] << 8;
      if (width > 2) folded |= bytes[third + place] << 16 | bytes[fourth + place] << 24;
      value = value + ((folded >>> 1) ^ -(folded & 1)) | 0;
      out[i] = value;
    }
  }
  return width === 4 ? out : new arrayTypes[width](out);
}

// Reads the header. `read(name)` then returns the array of a name, or null if the header does not list it.
function openPage(root) {
  let header;
  try {
    header = JSON.parse(root.getElementById('header').textContent);
  } catch {
    throw new Damaged('its header cannot be read');
  }
  const pieces = new Map();
  for (const piece of root.querySelectorAll('script.piece')) {
    const name = piece.dataset.name;
    if (!pieces.has(name)) pieces.set(name, []);
    pieces.get(name).push(piece);
  }
  const blocks = new Map(header.blocks.map((block) => [block.name, block]));
  const read = async (name) => {
    const block = blocks.get(name);
    if (!block) return null;
    try {
      const packed = joined((pieces.get(name) || []).map((piece) => fromBase64(piece.textContent)));
      for (const piece of pieces.get(name) || []) piece.remove(); // frees its text
      if (packed.length !== block.bytes) throw new Damaged(`the array "${name}" is cut short`);
      const plain = block.deflated ? await inflated(packed, block.count * block.width) : packed;
      return unfolded(plain, block);
    } catch (error) {
      throw error instanceof Damaged ? error : new Damaged(`the array "${name}" cannot be unpacked`);
    }
  };
  return { header, read };
}
