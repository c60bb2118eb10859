// Chromium, driven over the DevTools protocol through a pair of pipes: no packages, no open port.
import { spawn } from 'node:child_process';

const flags = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
               '--disable-background-networking', '--disable-component-update', '--disable-sync',
               '--autoplay-policy=no-user-gesture-required', '--remote-debugging-pipe'];

export class Browser {
  #child;
  #boundMs;
  #session;
  #nextId = 1;
  #waiting = new Map();   // id -> {resolve, reject}
  #listeners = new Map(); // event's name -> function
  #received = Buffer.alloc(0);

  constructor(child, boundMs) {
    this.#child = child;
    this.#boundMs = boundMs;
    child.stdio[4].on('data', (data) => this.#receive(data));
    child.once('exit', () => this.#failAll(new Error('Chromium has ended')));
  }

  /// With a profile folder of its own, which does not exist yet.
  static async start(profile, boundMs) {
    const child = spawn('chromium', [...flags, `--user-data-dir=${profile}`, 'about:blank'],
                        { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] });
    await new Promise((resolve, reject) => {
      child.once('spawn', resolve);
      child.once('error', reject);
    });
    return new Browser(child, boundMs);
  }

  async open(url) {
    const { targetId } = await this.#send('Target.createTarget', { url: 'about:blank' });
    const { sessionId } = await this.#send('Target.attachToTarget', { targetId, flatten: true });
    this.#session = sessionId;
    await this.#send('Page.enable');
    const loaded = new Promise((resolve) => this.#listeners.set('Page.loadEventFired', resolve));
    await this.#send('Page.navigate', { url });
    await loaded;
  }

  /// The value of an expression in the page, promises awaited.
  async evaluate(expression) {
    const answer = await this.#send('Runtime.evaluate',
                                    { expression, awaitPromise: true, returnByValue: true });
    if (answer.exceptionDetails) {
      const { exception, text } = answer.exceptionDetails;
      throw new Error(exception?.description ?? text);
    }
    return answer.result.value;
  }

  async stop() {
    const ended = new Promise((resolve) => this.#child.once('exit', resolve));
    const timer = setTimeout(() => this.#child.kill('SIGKILL'), 10000);
    this.#send('Browser.close').catch(() => {});
    await ended;
    clearTimeout(timer);
  }

  #send(method, params = {}) {
    const id = this.#nextId++;
    const message = { id, method, params, sessionId: this.#session };
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error(`${method} got no answer`)), this.#boundMs);
      const settle = (how) => (value) => {
        clearTimeout(timer);
        how(value);
      };
      this.#waiting.set(id, { resolve: settle(resolve), reject: settle(reject) });
      this.#child.stdio[3].write(`${JSON.stringify(message)}\0`);
    });
  }

  // Messages are separated by zero bytes.
  #receive(data) {
    this.#received = Buffer.concat([this.#received, data]);
    for (let end; (end = this.#received.indexOf(0)) >= 0;) {
      const message = JSON.parse(this.#received.subarray(0, end).toString('utf8'));
      this.#received = this.#received.subarray(end + 1);
      this.#take(message);
    }
  }

  #take(message) {
    const waiting = this.#waiting.get(message.id);
    if (!waiting) {
      this.#listeners.get(message.method)?.(message.params);
      return;
    }
    this.#waiting.delete(message.id);
    if (message.error) {
      waiting.reject(new Error(message.error.message));
    } else {
      waiting.resolve(message.result);
    }
  }

  #failAll(error) {
    for (const { reject } of this.#waiting.values()) {
      reject(error);
    }
    this.#waiting.clear();
  }
}
