// To take along: a picture, a link that holds the view, a token's record.
function saveAs(blob, name) {
  const link = element('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

// Both halves on their background, with what lies over them.
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

// Where the clipboard is closed to the page, the text is offered to be copied by hand.
async function copy(text, say, done) {
  try {
    await navigator.clipboard.writeText(text);
    say(done);
  } catch {
    const field = element('textarea', text, 'offscreen');
    document.body.append(field);
    field.select();
    const copied = document.execCommand('copy');
    field.remove();
    if (copied) say(done);
    else window.prompt('Copy this:', text);
  }
}

// The view as text behind the # of the address: only numbers and short words, whatever the file says.
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
