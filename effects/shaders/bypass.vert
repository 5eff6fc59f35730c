#version 100
precision highp float;

attribute vec4 a_vertexCoord;
attribute vec2 a_textureCoord;
varying vec2 v_texCoord;

void main() {
  gl_Position = a_vertexCoord;
  v_texCoord = a_textureCoord;
}
