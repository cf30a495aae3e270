// Frames: slider, play, steps and rate. `go(number)` shows a frame; frames cannot be shown before they are read.
function createTime(model, go) {
  const by = (id) => document.getElementById(id);
  const slider = by('frame'), text = by('frame-text'), play = by('play'), rate = by('rate');
  const last = model.times.length - 1;
  let playing = false, started = 0, from = 0, asked = 0;

  const reached = () => model.frames.length - 1;
  const show = () => {
    slider.value = model.frame;
    slider.setAttribute('aria-valuetext', `Frame ${model.frame + 1} of ${last + 1}`);
    const unread = reached() < last ? ` · unpacking ${reached() + 1}` : '';
    text.textContent = `${model.frame + 1} / ${last + 1} · ${signed(model.times[model.frame].toFixed(3))} s${unread}`;
  };
  const jump = (number) => {
    const wanted = clamp(number, 0, reached());
    if (wanted !== model.frame) go(wanted);
    show();
  };
  const length = () => model.times[last] - model.times[0] + 1 / model.rate;
  const tick = (now) => {
    asked = 0;
    if (!playing) return;
    const passed = (now - started) / 1000 * Number(rate.value) + from;
    const time = model.times[0] + passed % Math.max(length(), 1e-6);
    let number = 0;
    while (number < last && model.times[number + 1] <= time + 1e-9) ++number;
    jump(number);
    asked = requestAnimationFrame(tick);
  };
  const restart = () => {
    started = performance.now();
    from = model.times[model.frame] - model.times[0];
  };
  const set = (wanted) => {
    playing = wanted && last > 0;
    play.textContent = playing ? '❚❚' : '▶';
    play.setAttribute('aria-label', playing ? 'Pause (space)' : 'Play (space)');
    restart();
    if (playing && !asked) asked = requestAnimationFrame(tick);
  };

  by('time').hidden = last < 1;
  slider.max = Math.max(last, 0);
  slider.addEventListener('input', () => { set(false); jump(Number(slider.value)); });
  play.addEventListener('click', () => set(!playing));
  rate.addEventListener('change', restart);
  by('step-back').addEventListener('click', () => { set(false); jump(model.frame - 1); });
  by('step-on').addEventListener('click', () => { set(false); jump(model.frame + 1); });
  if (last > 0) show();
  return {
    show, jump, toggle: () => set(!playing), step: (by) => { set(false); jump(model.frame + by); },
    get playing() { return playing; },
  };
}
