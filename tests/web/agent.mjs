// Runs commands inside the simulated router for router.mjs, which is outside: a line of JSON on standard input starts one,
// a line of JSON on standard output is its result.
//   {"id": 1, "command": ["/bin/sh", "-c", "..."], "input": "...", "limit_ms": 30000}
//   {"id": 1, "status": 0, "killed": false, "output": "...", "errors": "..."}

import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';

const longestOutput = 4 << 20;

function run({ id, command, input, limit_ms: limit }) {
    const child = spawn(command[0], command.slice(1), { stdio: 'pipe' });
    const texts = { output: [], errors: [] };
    let killed = false;
    let answered = false;
    const answer = status => {
        if (answered)
            return;
        answered = true;
        clearTimeout(timer);
        // A child of its own in the background may hold the pipes; nobody waits for that one.
        child.stdout.destroy();
        child.stderr.destroy();
        const [output, errors] = [texts.output, texts.errors].map(parts => Buffer.concat(parts).toString());
        process.stdout.write(`${JSON.stringify({ id, status, killed, output, errors })}\n`);
    };
    // Only the process itself is killed, as rpcd does it.
    const timer = setTimeout(() => {
        killed = true;
        child.kill('SIGKILL');
    }, limit);
    let size = 0;
    const collect = (stream, parts) => stream.on('data', data => (size += data.length) <= longestOutput && parts.push(data));
    collect(child.stdout, texts.output);
    collect(child.stderr, texts.errors);
    child.on('error', error => {
        texts.errors.push(Buffer.from(String(error)));
        answer(127);
    });
    // What the process has written before its end is still read; "exit" may come before it.
    child.on('exit', code => setImmediate(() => setTimeout(() => answer(code ?? 128), 5)));
    child.on('close', code => answer(code ?? 128));
    child.stdin.on('error', () => {});
    child.stdin.end(input ?? '');
}

createInterface({ input: process.stdin }).on('line', line => run(JSON.parse(line)));
process.stdin.on('end', () => process.exit(0));
process.stdout.write('{"ready":true}\n');
