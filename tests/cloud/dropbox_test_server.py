#!/usr/bin/env python3
"""A local stand-in for Dropbox's HTTP API v2, speaking the routes Wavelocker uses as Dropbox
documents them: JSON bodies, the Dropbox-API-Arg header, cursors with has_more, upload
sessions with offsets, batch commits (also as polled jobs), content hashes, OAuth 2 with
PKCE, 429 with Retry-After and error bodies with their tags.

The account's files live in the folder given with --root. Tests steer faults and read
counters through /__control (POST JSON) and /__stats (GET). Prints "PORT <n>" when ready.
"""
import argparse
import base64
import hashlib
import json
import os
import secrets
import shutil
import socket
import sys
import threading
import time
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

BLOCK = 4 * 1024 * 1024
LOCK = threading.RLock()


def content_hash_of_bytes(data):
    overall = hashlib.sha256()
    for i in range(0, len(data), BLOCK):
        overall.update(hashlib.sha256(data[i:i + BLOCK]).digest())
    return overall.hexdigest()


def content_hash_of_file(path):
    overall = hashlib.sha256()
    with open(path, 'rb') as f:
        while True:
            block = f.read(BLOCK)
            if not block:
                break
            overall.update(hashlib.sha256(block).digest())
    return overall.hexdigest()


def ascii_json(obj):
    # Header values carry JSON with every character outside ASCII escaped.
    return json.dumps(obj, ensure_ascii=True, separators=(',', ':'))


class State:
    def __init__(self, root, app_key):
        self.root = root
        self.app_key = app_key
        self.valid_tokens = set()
        self.expired_tokens = set()
        self.refresh_tokens = set()
        self.codes = {}         # code -> (challenge, redirect_uri)
        self.challenges = {}
        self.cursors = {}       # cursor -> (path, offset)
        self.sessions = {}      # id -> {'data': path of spool, 'length': n, 'closed': bool}
        self.jobs = {}          # id -> (entries result, polls left)
        self.control = {}
        self.stats = {'routes': {}, 'refreshes': 0, 'exchanges': 0, 'rate_limited': 0, 'server_errors': 0,
                      'max_sessions_open': 0, 'auth_headers': [], 'finish_sizes': []}
        self.hash_cache = {}
        self.spool = os.path.join(root, '..', 'sessions')
        os.makedirs(self.spool, exist_ok=True)
        self.counter = 0

    def new_id(self, prefix):
        self.counter += 1
        return '%s-%d-%s' % (prefix, self.counter, secrets.token_hex(4))

    def local(self, path):
        """The folder entry for a Dropbox path, matched without case, or the path it would have."""
        parts = [p for p in path.split('/') if p]
        current = self.root
        for part in parts:
            if part in ('.', '..'):
                return None
            match = None
            if os.path.isdir(current):
                for name in os.listdir(current):
                    if name.lower() == part.lower():
                        match = name
                        break
            current = os.path.join(current, match if match else part)
        return current

    def display(self, local):
        rel = os.path.relpath(local, self.root)
        return '' if rel == '.' else '/' + rel.replace(os.sep, '/')

    def metadata(self, local):
        shown = self.display(local)
        names = self.control.get('display_names', {})
        name = names.get(shown, os.path.basename(local))
        shown_display = shown[: shown.rfind('/') + 1] + name if shown else shown
        meta = {'name': name, 'path_lower': shown_display.lower(), 'path_display': shown_display,
                'id': 'id:' + hashlib.md5(shown.lower().encode()).hexdigest()[:12]}
        if os.path.isdir(local):
            meta['.tag'] = 'folder'
            return meta
        st = os.stat(local)
        key = (local, st.st_size, st.st_mtime_ns)
        if key not in self.hash_cache:
            self.hash_cache[key] = content_hash_of_file(local)
        when = time.strftime('%Y-%m-%dT%H:%M:%SZ', time.gmtime(st.st_mtime))
        meta.update({'.tag': 'file', 'size': st.st_size, 'client_modified': when, 'server_modified': when,
                     'rev': '0123456789abcdef', 'content_hash': self.hash_cache[key], 'is_downloadable': True})
        return meta


class Handler(BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'
    server_version = 'DropboxTestServer/1'

    def log_message(self, fmt, *args):
        pass

    def setup(self):
        super().setup()
        # Headers and body leave in separate writes: without this, the body of every answer
        # waits for the client's delayed acknowledgement (40 ms), as no real front end makes it.
        self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    # ---- replies
    def reply(self, status, body=b'', content_type='application/json', headers=None):
        if isinstance(body, (dict, list)) or body is None:
            body = json.dumps(body).encode()
        elif isinstance(body, str):
            body = body.encode()
        self.send_response(status)
        if body or content_type:
            self.send_header('Content-Type', content_type)
        for k, v in (headers or {}).items():
            self.send_header(k, v)
        self.send_header('Content-Length', str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def route_error(self, tag_chain, extra=None):
        # A union error: {".tag": a, a: {".tag": b, ...}}.
        error = {}
        node = error
        for i, tag in enumerate(tag_chain):
            node['.tag'] = tag
            if i + 1 < len(tag_chain):
                node[tag] = {}
                node = node[tag]
        if extra:
            node.update(extra)
        self.reply(409, {'error_summary': '/'.join(tag_chain) + '/...', 'error': error})

    def body(self):
        n = int(self.headers.get('Content-Length') or 0)
        return self.rfile.read(n) if n else b''

    # ---- dispatch
    def do_GET(self):
        url = urllib.parse.urlparse(self.path)
        st = self.server.state
        if url.path == '/__stats':
            with LOCK:
                return self.reply(200, st.stats)
        if url.path == '/oauth2/authorize':
            return self.authorize(urllib.parse.parse_qs(url.query))
        if url.path.startswith('/__temp/'):
            local = st.control.get('temp_links', {}).get(url.path)
            if not local or not os.path.isfile(local):
                return self.reply(404, b'', 'text/plain')
            with open(local, 'rb') as f:
                return self.reply(200, f.read(), 'application/octet-stream')
        self.reply(404, b'not found', 'text/plain')

    def do_POST(self):
        url = urllib.parse.urlparse(self.path)
        st = self.server.state
        if url.path == '/__control':
            with LOCK:
                st.control.update(json.loads(self.body() or b'{}'))
                for token in st.control.pop('add_tokens', []):
                    st.valid_tokens.add(token)
                for token in st.control.pop('add_refresh_tokens', []):
                    st.refresh_tokens.add(token)
                if st.control.pop('expire_tokens', False):
                    st.expired_tokens |= st.valid_tokens
                    st.valid_tokens = set()
                if st.control.pop('revoke_all', False):
                    st.valid_tokens = set()
                    st.expired_tokens = set()
                    st.refresh_tokens = set()
            return self.reply(200, {})
        if url.path == '/oauth2/token':
            return self.token(urllib.parse.parse_qs(self.body().decode()))
        if not url.path.startswith('/2/'):
            return self.reply(404, b'not found', 'text/plain')
        route = url.path[3:]
        with LOCK:
            st.stats['routes'][route] = st.stats['routes'].get(route, 0) + 1
            st.stats['auth_headers'].append(self.headers.get('Authorization', ''))
        # Faults that come before anything else, as Dropbox's front ends answer them.
        with LOCK:
            limit = st.control.get('rate_limit', 0)
            if limit > 0:
                st.control['rate_limit'] = limit - 1
                st.stats['rate_limited'] += 1
                retry_after = st.control.get('retry_after', 0)
                reason = st.control.get('rate_reason', 'too_many_requests')
                self.body()
                return self.reply(429, {'error_summary': reason + '/...',
                                        'error': {'reason': {'.tag': reason}, 'retry_after': retry_after}},
                                  headers={'Retry-After': str(retry_after)})
            errors = st.control.get('server_errors', 0)
            if errors > 0:
                st.control['server_errors'] = errors - 1
                st.stats['server_errors'] += 1
                self.body()
                return self.reply(503 if errors % 2 else 500, b'Service temporarily unavailable', 'text/plain')
        auth = self.headers.get('Authorization', '')
        token = auth[7:] if auth.startswith('Bearer ') else ''
        with LOCK:
            if token in st.expired_tokens:
                self.body()
                return self.reply(401, {'error_summary': 'expired_access_token/...',
                                        'error': {'.tag': 'expired_access_token'}})
            if token not in st.valid_tokens:
                self.body()
                return self.reply(401, {'error_summary': 'invalid_access_token/...',
                                        'error': {'.tag': 'invalid_access_token'}})
        handler = {
            'auth/token/revoke': self.revoke,
            'files/list_folder': self.list_folder,
            'files/list_folder/continue': self.list_continue,
            'files/get_metadata': self.get_metadata,
            'files/download': self.download,
            'files/upload_session/start': self.session_start,
            'files/upload_session/append_v2': self.session_append,
            'files/upload_session/finish_batch_v2': self.finish_batch,
            'files/upload_session/finish_batch/check': self.finish_check,
            'files/get_temporary_link': self.temporary_link,
            'files/create_folder_v2': self.create_folder,
        }.get(route)
        if not handler:
            self.body()
            return self.reply(400, 'Unknown API function: "%s"' % route, 'text/plain')
        handler()

    # ---- arguments
    def rpc_arg(self):
        ctype = (self.headers.get('Content-Type') or '').split(';')[0].strip()
        raw = self.body()
        if ctype != 'application/json':
            self.reply(400, 'Error in call: Bad HTTP "Content-Type" header: "%s". Expecting "application/json".'
                       % ctype, 'text/plain')
            return None
        try:
            return json.loads(raw) if raw.strip() else None
        except ValueError:
            self.reply(400, 'Error in call: request body: could not decode input as JSON', 'text/plain')
            return None

    def header_arg(self):
        raw = self.headers.get('Dropbox-API-Arg')
        if raw is None:
            self.body()
            self.reply(400, 'Error in call: Must provide HTTP header "Dropbox-API-Arg" or URL argument "arg".',
                       'text/plain')
            return None
        if any(ord(c) > 0x7e for c in raw):
            self.body()
            self.reply(400, 'Error in call: HTTP header "Dropbox-API-Arg": could not decode input as JSON',
                       'text/plain')
            return None
        return json.loads(raw)

    def fault(self, name, path):
        return path.lower() in [p.lower() for p in self.server.state.control.get(name, [])]

    # ---- OAuth
    def authorize(self, q):
        st = self.server.state
        get = lambda k: q.get(k, [''])[0]
        if get('client_id') != st.app_key or get('response_type') != 'code' \
                or get('code_challenge_method') != 'S256' or not get('code_challenge'):
            return self.reply(400, 'invalid authorization request', 'text/plain')
        redirect = get('redirect_uri')
        state = get('state')
        if st.control.get('deny_authorization'):
            location = redirect + '?' + urllib.parse.urlencode({'error': 'access_denied', 'state': state,
                                                                'error_description': 'The user chose not to give your app access'})
            return self.reply(302, b'', 'text/plain', {'Location': location})
        code = secrets.token_urlsafe(24)
        with LOCK:
            st.codes[code] = (get('code_challenge'), redirect)
        if redirect:
            location = redirect + '?' + urllib.parse.urlencode({'code': code, 'state': state})
            return self.reply(302, b'', 'text/plain', {'Location': location})
        return self.reply(200, '<html><body><p>Enter this code into Wavelocker:</p><code id="code">%s</code></body></html>'
                          % code, 'text/html')

    def issue(self, with_refresh):
        st = self.server.state
        access = 'sl.' + secrets.token_urlsafe(24)
        st.valid_tokens.add(access)
        answer = {'access_token': access, 'token_type': 'bearer', 'expires_in': 14400,
                  'scope': 'files.content.read files.content.write', 'uid': '12345', 'account_id': 'dbid:test'}
        if with_refresh:
            refresh = secrets.token_urlsafe(32)
            st.refresh_tokens.add(refresh)
            answer['refresh_token'] = refresh
        return answer

    def token(self, form):
        st = self.server.state
        get = lambda k: form.get(k, [''])[0]
        with LOCK:
            if get('client_id') != st.app_key:
                return self.reply(400, {'error': 'invalid_client', 'error_description': 'Invalid client_id'})
            if get('grant_type') == 'refresh_token':
                st.stats['refreshes'] += 1
                if get('refresh_token') not in st.refresh_tokens:
                    return self.reply(400, {'error': 'invalid_grant', 'error_description': 'refresh token is invalid or revoked'})
                return self.reply(200, self.issue(False))
            if get('grant_type') == 'authorization_code':
                st.stats['exchanges'] += 1
                entry = st.codes.pop(get('code'), None)
                if not entry:
                    return self.reply(400, {'error': 'invalid_grant', 'error_description': 'code doesn\'t exist or has expired'})
                challenge, redirect = entry
                verifier = get('code_verifier')
                computed = base64.urlsafe_b64encode(hashlib.sha256(verifier.encode()).digest()).rstrip(b'=').decode()
                if computed != challenge:
                    return self.reply(400, {'error': 'invalid_grant', 'error_description': 'invalid code verifier'})
                if redirect != get('redirect_uri'):
                    return self.reply(400, {'error': 'invalid_grant', 'error_description': 'redirect_uri mismatch'})
                return self.reply(200, self.issue(True))
        return self.reply(400, {'error': 'unsupported_grant_type'})

    def revoke(self):
        self.body()
        st = self.server.state
        token = self.headers.get('Authorization', '')[7:]
        with LOCK:
            st.valid_tokens.discard(token)
            st.refresh_tokens = set()
        self.reply(200, None)

    # ---- listing
    def list_folder(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        path = arg.get('path', None)
        if path is None or (path and not path.startswith('/')) or path == '/':
            return self.reply(400, 'Error in call: request body: path: \'%s\' did not match pattern' % path, 'text/plain')
        if st.control.get('malformed_listing'):
            return self.reply(200, b'{"entries": [ {"name": ', 'application/json')
        local = st.local(path)
        if local is None or not os.path.exists(local):
            return self.route_error(['path', 'not_found'])
        if not os.path.isdir(local):
            return self.route_error(['path', 'not_folder'])
        cursor = st.new_id('cursor')
        with LOCK:
            st.cursors[cursor] = (local, 0)
        self.page(cursor)

    def page(self, cursor):
        st = self.server.state
        local, offset = st.cursors[cursor]
        generated = st.control.get('generated_entries', {}).get(st.display(local))
        size = st.control.get('page_size', 500)
        if generated is not None:
            names = ['Entry %06d.wav' % i for i in range(generated)]
            entries = []
            for name in names[offset:offset + size]:
                shown = st.display(local) + '/' + name
                entries.append({'.tag': 'file', 'name': name, 'path_lower': shown.lower(), 'path_display': shown,
                                'id': 'id:x', 'size': 1, 'server_modified': '2024-01-01T00:00:00Z',
                                'client_modified': '2024-01-01T00:00:00Z', 'rev': '1', 'content_hash': '0' * 64})
            total = len(names)
        else:
            names = sorted(os.listdir(local))
            entries = [st.metadata(os.path.join(local, n)) for n in names[offset:offset + size]]
            total = len(names)
        extra = st.control.get('extra_entries', {}).get(st.display(local), [])
        if offset == 0:
            entries += extra
        offset += size
        with LOCK:
            del st.cursors[cursor]
            nxt = st.new_id('cursor')
            st.cursors[nxt] = (local, offset)
        self.reply(200, {'entries': entries, 'cursor': nxt, 'has_more': offset < total})

    def list_continue(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        cursor = arg.get('cursor', '')
        with LOCK:
            if st.control.get('reset_once') and cursor in st.cursors:
                st.control['reset_once'] = False
                del st.cursors[cursor]
                return self.route_error(['reset'])
            if cursor not in st.cursors:
                return self.route_error(['path', 'not_found'])
        self.page(cursor)

    def get_metadata(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        local = st.local(arg.get('path', ''))
        if not arg.get('path') or local is None or not os.path.exists(local):
            return self.route_error(['path', 'not_found'])
        self.reply(200, st.metadata(local))

    def temporary_link(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        local = st.local(arg.get('path', ''))
        if local is None or not os.path.isfile(local):
            return self.route_error(['path', 'not_found'])
        link = '/__temp/' + secrets.token_hex(8)
        with LOCK:
            st.control.setdefault('temp_links', {})[link] = local
        self.reply(200, {'metadata': st.metadata(local),
                         'link': 'http://127.0.0.1:%d%s' % (self.server.server_port, link)})

    def create_folder(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        local = st.local(arg.get('path', ''))
        if local is None:
            return self.route_error(['path', 'malformed_path'])
        if os.path.exists(local):
            return self.route_error(['path', 'conflict', 'folder'])
        os.makedirs(local)
        self.reply(200, {'metadata': {k: v for k, v in st.metadata(local).items() if k != '.tag'}})

    # ---- download
    def download(self):
        st = self.server.state
        ctype = self.headers.get('Content-Type')
        if ctype not in (None, '', 'text/plain; charset=dropbox-cors-hack'):
            self.body()
            return self.reply(400, 'Error in call: Bad HTTP "Content-Type" header: "%s".' % ctype, 'text/plain')
        arg = self.header_arg()
        if arg is None:
            return
        self.body()
        path = arg.get('path', '')
        local = st.local(path)
        if local is None or not os.path.isfile(local):
            return self.route_error(['path', 'not_found'])
        if self.fault('fail_download', path):
            return self.route_error(['path', 'restricted_content'])
        meta = st.metadata(local)
        size = os.path.getsize(local)
        self.send_response(200)
        self.send_header('Content-Type', 'application/octet-stream')
        self.send_header('Dropbox-API-Result', ascii_json(meta))
        self.send_header('Content-Length', str(size))
        self.end_headers()
        corrupt = self.fault('corrupt_download', path)
        truncate = self.fault('truncate_download', path)
        if truncate and st.control.get('truncate_once'):
            st.control['truncate_download'] = []
        delay = st.control.get('download_delay', 0)
        with open(local, 'rb') as f:
            if not corrupt and not truncate and not delay:
                self.wfile.flush()
                try:
                    self.connection.sendfile(f)
                except (BrokenPipeError, ConnectionResetError):
                    pass
                return
            sent = 0
            while True:
                block = f.read(256 * 1024)
                if not block:
                    break
                if corrupt and sent == 0:
                    block = bytes([block[0] ^ 0xFF]) + block[1:]
                if truncate and sent + len(block) > size // 2:
                    self.wfile.write(block[: size // 2 - sent])
                    self.wfile.flush()
                    self.close_connection = True
                    return
                try:
                    self.wfile.write(block)
                    self.wfile.flush()
                except (BrokenPipeError, ConnectionResetError):
                    return
                sent += len(block)
                if delay:
                    time.sleep(delay)

    # ---- upload sessions
    def read_upload(self, spool_path, append):
        ctype = self.headers.get('Content-Type', '')
        n = int(self.headers.get('Content-Length') or 0)
        if ctype != 'application/octet-stream':
            self.rfile.read(n)
            self.reply(400, 'Error in call: Bad HTTP "Content-Type" header: "%s". Expecting "application/octet-stream".'
                       % ctype, 'text/plain')
            return None
        st = self.server.state
        with LOCK:
            # The connection breaks after this many bytes of a body, as many times as asked.
            cut_after = st.control.get('close_upload_after', -1)
            if cut_after >= 0 and st.control.get('close_upload_times', 0) > 0:
                st.control['close_upload_times'] -= 1
                st.stats['uploads_cut'] = st.stats.get('uploads_cut', 0) + 1
            else:
                cut_after = -1
        delay = st.control.get('upload_delay', 0)
        if cut_after >= 0:
            self.rfile.read(min(n, cut_after))
            self.close_connection = True
            self.connection.shutdown(socket.SHUT_RDWR)
            return None
        with open(spool_path, 'ab' if append else 'wb') as f:
            left = n
            while left > 0:
                chunk = self.rfile.read(min(left, 1024 * 1024))
                if not chunk:
                    break
                f.write(chunk)
                left -= len(chunk)
                if delay:
                    time.sleep(delay)
        return n

    def session_start(self):
        st = self.server.state
        arg = self.header_arg()
        if arg is None:
            return
        sid = st.new_id('session')
        spool = os.path.join(st.spool, sid)
        n = self.read_upload(spool, False)
        if n is None:
            return
        with LOCK:
            st.sessions[sid] = {'spool': spool, 'length': n, 'closed': bool(arg.get('close'))}
            st.stats['max_sessions_open'] = max(st.stats['max_sessions_open'],
                                                sum(1 for s in st.sessions.values() if 'done' not in s))
        self.reply(200, {'session_id': sid})

    def session_append(self):
        st = self.server.state
        arg = self.header_arg()
        if arg is None:
            return
        cursor = arg.get('cursor', {})
        sid = cursor.get('session_id')
        session = st.sessions.get(sid)
        n = int(self.headers.get('Content-Length') or 0)
        if not session:
            self.rfile.read(n)
            return self.route_error(['not_found'])
        if session['closed']:
            self.rfile.read(n)
            return self.route_error(['closed'])
        if cursor.get('offset') != session['length']:
            self.rfile.read(n)
            return self.route_error(['incorrect_offset'], {'correct_offset': session['length']})
        got = self.read_upload(session['spool'], True)
        if got is None:
            return
        session['length'] += got
        session['closed'] = bool(arg.get('close'))
        # An answer lost on the way back: the data arrived, the client hears a server error.
        if st.control.get('lose_append_answer'):
            st.control['lose_append_answer'] = False
            return self.reply(500, b'Internal Server Error', 'text/plain')
        self.reply(200, None)

    def commit_one(self, entry):
        st = self.server.state
        cursor = entry.get('cursor', {})
        commit = entry.get('commit', {})
        session = st.sessions.get(cursor.get('session_id'))
        path = commit.get('path', '')
        if not session:
            return {'.tag': 'failure', 'failure': {'.tag': 'lookup_failed', 'lookup_failed': {'.tag': 'not_found'}}}
        if cursor.get('offset') != session['length']:
            return {'.tag': 'failure', 'failure': {'.tag': 'lookup_failed', 'lookup_failed':
                                                   {'.tag': 'incorrect_offset', 'correct_offset': session['length']}}}
        if not session['closed']:
            return {'.tag': 'failure', 'failure': {'.tag': 'lookup_failed', 'lookup_failed': {'.tag': 'not_closed'}}}
        local = st.local(path)
        if local is None or not path.startswith('/'):
            return {'.tag': 'failure', 'failure': {'.tag': 'path', 'path': {'.tag': 'malformed_path'}}}
        if self.fault('fail_commit', path):
            return {'.tag': 'failure', 'failure': {'.tag': 'path', 'path': {'.tag': 'insufficient_space'}}}
        if os.path.exists(local):
            return {'.tag': 'failure', 'failure': {'.tag': 'path', 'path': {'.tag': 'conflict',
                                                                           'conflict': {'.tag': 'file'}}}}
        os.makedirs(os.path.dirname(local), exist_ok=True)
        shutil.move(session['spool'], local)
        session['done'] = True
        meta = st.metadata(local)
        if self.fault('wrong_hash_on_commit', path):
            meta['content_hash'] = '0' * 64
        meta['.tag'] = 'success'
        return meta

    def finish_batch(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        entries = arg.get('entries', [])
        if len(entries) > 1000:
            return self.reply(400, 'Error in call: request body: entries: has more than 1000 items', 'text/plain')
        with LOCK:
            st.stats['finish_sizes'].append(len(entries))
            results = [self.commit_one(e) for e in entries]
            if st.control.get('async_finish'):
                job = st.new_id('job')
                st.jobs[job] = (results, st.control.get('polls_in_progress', 1))
                return self.reply(200, {'.tag': 'async_job_id', 'async_job_id': job})
        self.reply(200, {'entries': results})

    def finish_check(self):
        arg = self.rpc_arg()
        if arg is None:
            return
        st = self.server.state
        with LOCK:
            job = st.jobs.get(arg.get('async_job_id'))
            if not job:
                return self.route_error(['invalid_async_job_id'])
            results, left = job
            if left > 0:
                st.jobs[arg['async_job_id']] = (results, left - 1)
                return self.reply(200, {'.tag': 'in_progress'})
        self.reply(200, {'.tag': 'complete', 'entries': results})


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--root', required=True)
    parser.add_argument('--app-key', default='testkey')
    parser.add_argument('--token', action='append', default=[])
    args = parser.parse_args()
    os.makedirs(args.root, exist_ok=True)
    server = ThreadingHTTPServer(('127.0.0.1', 0), Handler)
    server.daemon_threads = True
    # A client that hangs up mid-answer (cancel, cut-off tests) is not an error worth a trace.
    server.handle_error = lambda request, address: None
    server.state = State(os.path.abspath(args.root), args.app_key)
    server.state.valid_tokens.update(args.token)
    print('PORT %d' % server.server_port, flush=True)
    # Ends with its parent: stdin closes when the test goes.
    threading.Thread(target=lambda: (sys.stdin.read(), os._exit(0)), daemon=True).start()
    server.serve_forever()


if __name__ == '__main__':
    main()
