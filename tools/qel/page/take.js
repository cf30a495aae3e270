// Exports: a picture, a link with the view, a token's record.
function saveAs(blob, name) {
  const link = element('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

// Saves both halves with their background and overlay.
function picture(canvas, overlay, background, name) {
  const made = element('canvas');
  [made.width, made.height] = [canvas.width, canvas.height];
  const pen = made.getContext('2d');
  pen.fillStyle = background;
  pen.fillRect(0, 0, made.width, made.height);
  pen.drawImage(canvas, 0, 0);
  pen.drawImage(overlay, 0, 0, made.width, made.height);
  return new Promise((done) => made.toBlob((blob) => { saveAs(blob, name); done(blob); }, 'image/png'));
}

// Copies a text. Without access to the clipboard, a prompt shows the text.
async function copy(text, showStatus, done) {
  try {
    await navigator.clipboard.writeText(text);
    showStatus(done);
  } catch {
    const field = element('textarea', text, 'offscreen');
    document.body.append(field);
    field.select();
    const copied = document.execCommand('copy');
    field.remove();
    if (copied) showStatus(done);
    else window.prompt('Copy this:', text);
  }
}

// The view as the fragment of the address: numbers and fixed words, no text from the file.
const precise = (value) => Number(value.toPrecision(5));
function viewText(state, cameras) {
  const camera = ({ yaw, pitch, zoom, target }) => [yaw, pitch, zoom, ...target].map(precise).join(',');
  const parts = { mesh: camera(cameras.mesh), tokens: camera(cameras.tokens), colour: state.mode, views: state.layout };
  if (state.zUp) parts.up = 'z';
  if (!state.linked) parts.alone = 1;
  if (state.frame > 0) parts.frame = state.frame;
  if (state.vertex >= 0) parts.token = state.vertex;
  if (state.hidden.length > 0 && state.hidden.length <= 500) parts.hidden = state.hidden.join(',');
  return new URLSearchParams(parts).toString().replace(/%2C/g, ',');
}

function readView(text) {
  const parts = new URLSearchParams(text.replace(/^#/, '')), made = {};
  const numbers = (name) => (parts.get(name) || '').split(',').filter((part) => part !== '').map(Number).filter(Number.isFinite);
  for (const name of ['mesh', 'tokens']) {
    const [yaw, pitch, zoom, ...target] = numbers(name);
    if (target.length === 3) made[name] = { yaw, pitch: clamp(pitch, -Math.PI / 2, Math.PI / 2), zoom: clamp(zoom, 0.2, 5000), target };
  }
  const whole = (name) => (Number.isInteger(Number(parts.get(name) ?? NaN)) ? Number(parts.get(name)) : -1);
  const up = parts.get('up'), hasView = parts.has('mesh');
  return {
    ...made, hasView, zUp: up === 'z', linked: !parts.has('alone'), frame: whole('frame'), token: whole('token'), hidden: numbers('hidden'),
    mode: ['level', 'state', 'norm', 'layer', 'mesh'].includes(parts.get('colour')) ? parts.get('colour') : null,
    layout: ['both', 'mesh', 'tokens'].includes(parts.get('views')) ? parts.get('views') : null,
  };
}
