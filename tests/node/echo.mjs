// Echoes through the server at the URL in the first argument; prints what came back.
import WebSocket from 'ws';
import { deepStrictEqual } from 'node:assert';
import { once } from 'node:events';

const socket = new WebSocket(process.argv[2]);
await once(socket, 'open');
const large = Buffer.alloc(5_000_000, 'räksmörgås ');
const cases = [
  ['text', Buffer.from('Hällo €'), { binary: false }],
  ['empty', Buffer.alloc(0), { binary: true }],
  ['binary', Buffer.from([...Array(256).keys()]), { binary: true }],
  ['5 MB text', large, { binary: false }],
  ['5 MB binary', large, { binary: true }],
];
for (const [name, data, { binary }] of cases) {
  socket.send(data, { binary });
  const [echo, isBinary] = await once(socket, 'message');
  deepStrictEqual([echo.equals(data), isBinary], [true, binary], name);
  console.log(name);
}
socket.send('frag', { fin: false });
socket.send('ments', { fin: true });
console.log(String((await once(socket, 'message'))[0]));
socket.ping('still there?');
console.log(String((await once(socket, 'pong'))[0]));
socket.close(4000, 'bye');
console.log((await once(socket, 'close'))[0]);

// A frame above the limit.
const greedy = new WebSocket(process.argv[2]);
await once(greedy, 'open');
greedy.on('error', () => {}); // the server may hang up before everything was sent
greedy.send(Buffer.alloc(8_000_001));
console.log((await once(greedy, 'close'))[0]);
