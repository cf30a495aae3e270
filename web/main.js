// SPDX-License-Identifier: MIT
// The page that opens dropped files: a worker makes a page of the dropped files, which is shown in a frame.
const by = (id) => document.getElementById(id);
const wasm = Uint8Array.from(atob(by('engine').textContent), (letter) => letter.charCodeAt(0));
const workerUrl = URL.createObjectURL(new Blob([by('worker').textContent], { type: 'text/javascript' }));
const links = [];
let worker = null;

const size = (bytes) =>
  bytes < 1e4 ? `${bytes} bytes` : bytes < 1e6 ? `${(bytes / 1e3).toFixed(0)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
const state = (name) => { document.body.dataset.state = name; };

function say(text, done = 0, all = 0) {
  by('status').textContent = all > 0 ? `${text}: ${size(done)} of ${size(all)}` : text;
  by('bar').value = all > 0 ? done / all : 0;
}

function fail(message) {
  worker?.terminate();
  worker = null;
  by('message').textContent = message;
  by('frame').removeAttribute('srcdoc');
  say('');
  state('failed');
}

function link(name, blob) {
  const made = document.createElement('a');
  made.href = URL.createObjectURL(blob);
  made.download = name.split('/').pop();
  made.textContent = `${name} (${size(blob.size)})`;
  made.dataset.name = name;
  links.push(made.href);
  return made;
}

function entry(...parts) {
  const made = document.createElement('li');
  made.append(...parts);
  return made;
}

/** Lists the downloads: the page itself, and the conversions of archives and scenes. */
function offer(page, names) {
  for (const url of links.splice(0)) URL.revokeObjectURL(url);
  by('downloads').replaceChildren(entry(link('page.html', page)));
  for (const name of names.filter((own) => /\.(abc|bqel)$/i.test(own))) {
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = `Convert ${name}`;
    button.addEventListener('click', () => {
      button.disabled = true;
      state('working');
      worker.postMessage({ job: 'convert', name });
    });
    const place = entry(button);
    place.dataset.of = name;
    by('downloads').append(place);
  }
}

const answers = {
  step: ({ text, done, all }) => say(text, done, all),
  failed: ({ message }) => fail(message),
  async show({ page, names }) {
    offer(page, names);
    by('frame').srcdoc = await page.text();
    document.title = names.join(' + ');
    say(names.join(' + '));
    state('shown');
  },
  convert({ name, files }) {
    by('downloads').querySelector(`[data-of=${CSS.escape(name)}]`)?.replaceChildren(
      ...files.map((file) => { const made = link(file.name, file.blob); made.classList.add('made'); return made; }));
    say(`${name}: ${files.length} files`);
    by('take').open = true;
    state('shown');
  },
};

function open(files) {
  if (files.length === 0) return;
  worker?.terminate();
  worker = new Worker(workerUrl);
  worker.onmessage = ({ data }) => answers[data.kind](data);
  worker.onerror = (event) => { event.preventDefault(); fail(event.message || 'The work could not be started.'); };
  by('take').open = false;
  say('Opening');
  state('working');
  worker.postMessage({ job: 'show', wasm, files: [...files] });
}

function takeDrops(target) {
  target.addEventListener('dragover', (event) => { event.preventDefault(); document.body.classList.add('over'); });
  target.addEventListener('dragleave', () => document.body.classList.remove('over'));
  target.addEventListener('drop', (event) => {
    event.preventDefault();
    document.body.classList.remove('over');
    open(event.dataTransfer.files);
  });
}

takeDrops(window);
by('frame').addEventListener('load', () => {
  if (by('frame').hasAttribute('srcdoc')) takeDrops(by('frame').contentWindow);
});
by('choose').addEventListener('change', () => {
  open(by('choose').files);
  by('choose').value = '';
});
state('empty');
