// Plays recordings in headless Chromium and reads back size, length, frame numbers, colours and
// where the sound lies in the pictures' time.
// usage: node browser.mjs PATH_OF_VXRECORD
import { spawn, spawnSync } from 'node:child_process';
import { createServer } from 'node:http';
import { createReadStream, existsSync, mkdtempSync, rmSync, statSync, readFileSync, openSync }
    from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { Browser } from './devtools.mjs';

const vxrecord = process.argv[2];
const folder = mkdtempSync(join(tmpdir(), 'vxbrowser-'));
const boundMs = 120000;
const tolerance = 2;
const togetherSeconds = 0.010;
let failures = 0;

function check(condition, what) {
  console.log(`${condition ? 'ok    ' : 'FAILED'}  ${what}`);
  failures += condition ? 0 : 1;
}

// ---- recordings ------------------------------------------------------------------------------

function record(name, ...options) {
  const run = spawnSync(vxrecord, ['--storage-path', folder, '--filename', name, '--json', '--quiet',
                                   ...options], { encoding: 'utf8' });
  if (run.status !== 0) {
    throw new Error(`vxrecord failed: ${run.stderr}`);
  }
  return JSON.parse(run.stdout);
}

/// Kills a live recording as soon as its progress shows three seconds.
async function recordAndKill(name, input, ...options) {
  const log = join(folder, `${name}.log`);
  const child = spawn(vxrecord, ['--storage-path', folder, '--filename', name, '--realtime',
                                 ...options, input],
                      { stdio: ['ignore', 'ignore', openSync(log, 'w')] });
  const end = Date.now() + boundMs;
  while (!readFileSync(log, 'utf8').includes('00:00:03.')) {
    if (Date.now() > end) {
      child.kill('SIGKILL');
      throw new Error('the recording made no progress');
    }
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  const ended = new Promise((resolve) => child.once('exit', resolve));
  child.kill('SIGKILL');
  await ended;
}

// ---- a server with byte ranges, which seeking needs ------------------------------------------

const page = readFileSync(new URL('page.html', import.meta.url));

const server = createServer((request, response) => {
  const file = join(folder, decodeURIComponent(request.url.slice(1)));
  if (request.url === '/') {
    response.writeHead(200, { 'content-type': 'text/html' }).end(page);
    return;
  }
  if (!existsSync(file)) {
    response.writeHead(404).end();
    return;
  }
  const size = statSync(file).size;
  const range = /bytes=(\d+)-(\d*)/.exec(request.headers.range ?? '');
  const start = range ? Number(range[1]) : 0;
  const end = range && range[2] ? Math.min(Number(range[2]), size - 1) : size - 1;
  if (start >= size) {
    response.writeHead(416, { 'content-range': `bytes */${size}` }).end();
    return;
  }
  response.writeHead(range ? 206 : 200, {
    'content-type': 'video/mp4',
    'accept-ranges': 'bytes',
    'content-length': end - start + 1,
    ...(range ? { 'content-range': `bytes ${start}-${end}/${size}` } : {}),
  });
  createReadStream(file, { start, end }).pipe(response);
});

// ---- what the built-in picture shows ---------------------------------------------------------

const bars = [[255, 255, 255], [255, 255, 0], [0, 255, 255], [0, 255, 0],
              [255, 0, 255], [255, 0, 0], [0, 0, 255], [64, 64, 64]];

/// Points low in the bars, where nothing else is drawn early in the recording.
function barPoints(width, height) {
  return bars.map((_, i) => [Math.floor((i + 0.5) * width / bars.length),
                             Math.floor(height * 0.7)]);
}

function blockPoints(width, height) {
  const side = Math.min(Math.floor(width / 34), height, 32);
  return Array.from({ length: 34 },
                    (_, i) => [i * side + Math.floor(side / 2), Math.floor(side / 2)]);
}

function numberOf(blocks) {
  const bits = blocks.map((color) => (color[1] >= 128 ? 1 : 0));
  return bits[0] === 1 && bits[1] === 0 ? bits.slice(2).reduce((n, bit) => n * 2 + bit, 0) : -1;
}

/// The flash that goes with each beep.
const flashPoint = (width, height) => [Math.floor(width / 2), height - Math.floor(height / 8)];
const flashSeconds = 0.1;

const difference = (a, b) => Math.max(...a.map((value, i) => Math.abs(value - b[i])));

const farthest = (seconds, from) => Math.max(...seconds.map((s, i) => Math.abs(s - from[i])));
const inMs = (seconds) => (seconds * 1000).toFixed(2);

/// A flash or beep that the file's end may cut short says nothing.
const isWhole = (start, end) => start + 2 * flashSeconds < end;

/// The middle of a frame's time on the screen.
const middleOf = (frame, rate) => (frame + 0.5) / rate;

class Player {
  constructor(browser) { this.browser = browser; }
  load(name) { return this.browser.evaluate(`load(${JSON.stringify('/' + name)})`); }
  pixels(seconds, points) {
    return this.browser.evaluate(`pixelsAt(${seconds}, ${JSON.stringify(points)})`);
  }
  play() { return this.browser.evaluate('playToTheEnd()'); }

  async checkFrames(title, frames, rate, width, height) {
    for (const frame of frames) {
      const seen = numberOf(await this.pixels(middleOf(frame, rate), blockPoints(width, height)));
      check(seen === frame, `${title}: frame ${frame} is shown when asked for (${seen})`);
    }
  }
  async checkBars(title, points, rate) {
    const seen = await this.pixels(middleOf(15, rate), points);
    seen.forEach((color, i) => check(difference(color, bars[i]) <= tolerance,
                                     `${title}: bar ${i} is ${bars[i]} (${color})`));
  }

  decodedSound(name) {
    return this.browser.evaluate(`decodedSound(${JSON.stringify('/' + name)})`);
  }
  flashTimes(width, height) {
    return this.browser.evaluate(`flashTimes(${JSON.stringify(flashPoint(width, height))})`);
  }
  tonesFrom(seconds, untilSeconds) {
    return this.browser.evaluate(`tonesFrom(${seconds}, ${untilSeconds})`);
  }

  /// Played in one go and from within each beep.
  async checkBeeps(title, flashes, end) {
    const intoBeep = flashSeconds / 2;
    const played = (await this.tonesFrom(flashes[0] + intoBeep, end))
        .filter(({ start }) => isWhole(start, end));
    check(played.length === flashes.length,
          `${title}: a beep is played with each flash (${played.length})`);
    const starts = played.slice(1).map(({ start }) => start);
    const apart = farthest(starts, flashes.slice(1));
    check(apart <= togetherSeconds, `${title}: flash and beep start together (${inMs(apart)} ms)`);
    const ends = [];
    for (const flash of flashes) {
      const tones = await this.tonesFrom(flash + intoBeep, flash + 3 * flashSeconds);
      ends.push(tones[0]?.end ?? Infinity);
    }
    const late = farthest(ends, flashes.map((flash) => flash + flashSeconds));
    check(late <= togetherSeconds,
          `${title}: they meet wherever playing starts (${inMs(late)} ms)`);
  }
  async checkSound(title, name, count) {
    const { width, height, seconds } = await this.load(name);
    const sound = await this.decodedSound(name);
    check(sound.channels === 2, `${title}: the sound decodes to two channels (${sound.channels})`);
    check(Math.abs(sound.seconds - seconds) < 0.05,
          `${title}: sound and file last ${seconds} s (${sound.seconds})`);
    const flashes = (await this.flashTimes(width, height)).filter((t) => isWhole(t, seconds));
    const beeps = sound.tones.map(({ start }) => start).filter((t) => isWhole(t, seconds));
    check(flashes.length >= count && beeps.length === flashes.length,
          `${title}: at least ${count} flashes and beeps (${flashes.length}, ${beeps.length})`);
    const apart = farthest(beeps, flashes);
    check(apart <= togetherSeconds,
          `${title}: decoded at once, flash and beep start together (${inMs(apart)} ms)`);
    await this.checkBeeps(title, flashes, seconds);
  }
}

// ---- the checks ------------------------------------------------------------------------------

async function checkPlain(player) {
  const result = record('plain.mp4', '--duration', '4', 'test:1280x720@30');
  const seen = await player.load('plain.mp4');
  check(seen.width === 1280 && seen.height === 720, `plain: 1280x720 (${seen.width}x${seen.height})`);
  check(Math.abs(seen.seconds * 1000 - result.durationMs) < 1,
        `plain: lasts ${result.durationMs} ms (${seen.seconds * 1000})`);
  await player.checkBars('plain', barPoints(1280, 720), 30);
  await player.checkFrames('plain', [0, 1, 29, 30, 31, 77, 118, 45], 30, 1280, 720);
  check(await player.play() > 0, 'plain: plays to its end');
}

async function checkOddSize(player) {
  record('odd.mp4', '--duration', '2', '--pixel-format', 'BGRA', 'test:1367x767@30');
  const seen = await player.load('odd.mp4');
  check(seen.width === 1367 && seen.height === 767, `odd: 1367x767 (${seen.width}x${seen.height})`);
  await player.checkBars('odd', barPoints(1367, 767), 30);
  await player.checkFrames('odd', [0, 44], 30, 1367, 767);
}

/// A point of the picture stands elsewhere after a quarter turn clockwise.
async function checkTurned(player) {
  record('turned.mp4', '--duration', '2', '--rotate', 'test:640x360@30');
  const seen = await player.load('turned.mp4');
  check(seen.width === 360 && seen.height === 640,
        `turned: 360x640 (${seen.width}x${seen.height})`);
  await player.checkBars('turned', barPoints(640, 360).map(([x, y]) => [359 - y, x]), 30);
}

async function checkKilled(player) {
  await recordAndKill('killed.mp4', 'test:640x360@30');
  const seen = await player.load('killed.mp4');
  check(seen.width === 640 && seen.height === 360, `killed: 640x360 (${seen.width}x${seen.height})`);
  check(seen.seconds >= 2, `killed: at most the last second is missing (${seen.seconds} s)`);
  await player.checkBars('killed', barPoints(640, 360), 30);
  await player.checkFrames('killed', [0, 15, 50], 30, 640, 360);
  check(await player.play() > 0, 'killed: plays to its end');
}

const soundInput = 'test:320x240@30';

async function checkSound(player) {
  record('sound.mp4', '--audio', '--duration', '4', soundInput);
  await player.checkSound('sound', 'sound.mp4', 4);
}

/// The second pause is put in by recording the recording.
async function checkSoundWithPauses(player) {
  record('pause.mp4', '--audio', '--duration', '8', '--pause-at', '1.5', '--pause-for', '3.2',
         soundInput);
  await player.checkSound('sound, one pause', 'pause.mp4', 5);
  record('pauses.mp4', '--audio', '--pause-at', '3.2', '--pause-for', '0.3',
         join(folder, 'pause.mp4'));
  await player.checkSound('sound, two pauses', 'pauses.mp4', 5);
}

async function checkSoundKilled(player) {
  await recordAndKill('killedsound.mp4', soundInput, '--audio');
  await player.checkSound('sound, killed', 'killedsound.mp4', 2);
}

async function main() {
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const browser = await Browser.start(join(folder, 'profile'), boundMs);
  try {
    await browser.open(`http://127.0.0.1:${server.address().port}/`);
    const player = new Player(browser);
    for (const step of [checkPlain, checkOddSize, checkTurned, checkKilled, checkSound,
                        checkSoundWithPauses, checkSoundKilled]) {
      await step(player).catch((error) => check(false, `${step.name}: ${error.message}`));
    }
  } finally {
    await browser.stop();
    server.close();
    server.closeAllConnections();
    rmSync(folder, { recursive: true, force: true });
  }
  console.log(failures === 0 ? 'all checks passed' : `${failures} checks failed`);
  process.exitCode = failures === 0 ? 0 : 1;
}

await main();
